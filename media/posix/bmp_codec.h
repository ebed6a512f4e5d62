// bmp_codec.h: BMP files, which no library of the system's image codecs reads. No third kind of file takes so little to read.
//
// All numbers are little-endian. A file header of 14 bytes and an info header come first, then masks or a palette, then the rows,
// the lowest first unless the height is negative, each padded to 4 bytes. Pixels are indices of 1, 4 or 8 bits, plain or as runs,
// or colours of 16, 24 or 32 bits.
#pragma once

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <span>
#include <vector>

namespace vorin::media {

// 8-bit blue, green, red; empty for a damaged file.
cv::Mat decodeBmp(std::span<const std::uint8_t> file);

// Always colours of 24 bits.
std::vector<std::uint8_t> encodeBmp(const cv::Mat& bgr);

} // namespace vorin::media
