#include "image_codec.h"
#include "picture_size.h"
#include "quiet_output.h"

#include <opencv2/imgcodecs.hpp>

#include <array>
#include <string>

namespace vorin::stylize {
namespace {

constexpr std::array kEncodings = {
    ImageEncoding{".png", kMaxSide}, ImageEncoding{".jpg", kMaxSide}, ImageEncoding{".jpeg", kMaxSide},
    ImageEncoding{".webp", 16383},   ImageEncoding{".bmp", kMaxSide},
};

} // namespace

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file) {
  try {
    const Quiet quiet(Stream::kError);
    const cv::Mat bytes(1, static_cast<int>(file.size()), CV_8UC1, const_cast<std::uint8_t*>(file.data())); // only read
    return cv::imdecode(bytes, cv::IMREAD_COLOR);
  } catch (const cv::Exception&) {
    return cv::Mat();
  }
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& bgr) {
  std::vector<std::uint8_t> bytes;
  try {
    const Quiet quiet(Stream::kError);
    if (!cv::imencode(std::string(encoding.extension), bgr, bytes)) {
      bytes.clear();
    }
  } catch (const cv::Exception&) {
    bytes.clear();
  }
  return bytes;
}

} // namespace vorin::stylize
