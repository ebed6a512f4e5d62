// frame_conversion.h: pictures (8-bit blue, green, red) to frames of any format that the library takes, and back.
//
// Rows of a frame follow each other without padding, as the library wants them from a filter style. NV12 and YUY2 share colour
// between neighbours and so come in even sizes only: a picture of odd size gets its last column or row twice on the way in.
// The YUV formats are BT.601. The library reads both in video range (16 to 235), writes NV12 in video range too, but YUY2 in full
// range; frameFromPicture and pictureFromFrame follow it, so they are not inverses of each other for YUY2.
#pragma once

#include "vorin_stt.h"

#include <opencv2/core/mat.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::stylize {

struct FrameFormat {
  std::string_view name;
  SttPixelFormat code;
  bool even_sizes_only;
};

std::span<const FrameFormat> frameFormats();
const FrameFormat* findFrameFormat(std::string_view name); // null: no such format
std::string frameFormatNames();

struct Frame {
  SttPixelFormat format;
  cv::Size size;
  std::vector<std::uint8_t> bytes;
};

std::uint32_t pitchBytes(const Frame& frame); // of a row of the first plane

// The size that a picture of this size has as a frame.
cv::Size frameSize(const FrameFormat& format, cv::Size picture_size);

// size: a frame size of the format.
Frame emptyFrame(const FrameFormat& format, cv::Size size);

Frame frameFromPicture(const FrameFormat& format, const cv::Mat& bgr);
cv::Mat pictureFromFrame(const Frame& frame);

} // namespace vorin::stylize
