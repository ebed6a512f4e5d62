// Moves luma and chroma samples into the memory layouts of NV12 and YUY2, without computing colours.
#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace vorin {

// Writes a picture of Y, U, V per pixel (8-bit, 3 channels) as YUY2, rows back to back (2 x columns bytes each). Each pair of
// pixels takes the chroma of its even pixel, not an average; the last pixel of an odd row takes its own U.
void packYuy2(const cv::Mat& yuv, std::uint8_t* output);

// Writes a planar 4:2:0 picture (8-bit, 1 channel, 3/2 x height rows: Y, then U and V at half size) as NV12 with rows
// `pitch_bytes` apart: height rows of Y, then height / 2 rows of U, V pairs.
void packNv12(const cv::Mat& i420, std::uint8_t* output, std::size_t pitch_bytes);

} // namespace vorin
