// image_codec.h: the decoders and encoders behind image_file.h: OpenCV's, or on Windows the system's own.
#pragma once

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vorin::stylize {

// A kind of image file that can be written.
struct ImageEncoding {
  std::string_view extension; // in small letters
  int largest_side;
};
std::span<const ImageEncoding> imageEncodings();

// The picture in the file, upright, as 8-bit blue, green, red; empty where the file is damaged. Nothing where the system has no
// decoder for such files.
std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file);

// The bytes of an image file; none where the encoder fails.
std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& bgr);

} // namespace vorin::stylize
