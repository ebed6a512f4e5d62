#include "image_codec.h"

#include "sources_and_sinks.h"
#include "terminal.h"

#include <opencv2/imgcodecs.hpp>

#include <array>
#include <string>

namespace vorin::media {
namespace {

constexpr std::array kEncodings = {
    ImageEncoding{".png", static_cast<int>(kLargestSide)},  ImageEncoding{".jpg", static_cast<int>(kLargestSide)},
    ImageEncoding{".jpeg", static_cast<int>(kLargestSide)}, ImageEncoding{".webp", 16383},
    ImageEncoding{".bmp", static_cast<int>(kLargestSide)},
};

} // namespace

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file) {
  try {
    const base::Quiet quiet(base::Stream::kError);
    const cv::Mat bytes(1, static_cast<int>(file.size()), CV_8UC1, const_cast<std::uint8_t*>(file.data())); // only read
    return cv::imdecode(bytes, cv::IMREAD_COLOR);
  } catch (const cv::Exception&) {
    return cv::Mat();
  }
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& bgr) {
  std::vector<std::uint8_t> bytes;
  try {
    const base::Quiet quiet(base::Stream::kError);
    if (!cv::imencode(std::string(encoding.extension), bgr, bytes)) {
      bytes.clear();
    }
  } catch (const cv::Exception&) {
    bytes.clear();
  }
  return bytes;
}

} // namespace vorin::media
