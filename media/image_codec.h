// image_codec.h: the decoders and encoders behind image files: libpng, libjpeg and libwebp, or on Windows the
// system's own.
#pragma once

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vorin::media {

// A kind of image file that can be written.
struct ImageEncoding {
  std::string_view extension; // in lower case, with its dot
  int largest_side;           // pixels
};
std::span<const ImageEncoding> imageEncodings();

// Decodes an image file to 8-bit blue, green, red, as the camera stored it; transparency is dropped. Returns an empty picture for
// a damaged file, and nothing where the system has no decoder for such files. Prints nothing.
std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file);

// Encodes a picture to the bytes of an image file; none if the encoder fails.
std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& bgr);

} // namespace vorin::media
