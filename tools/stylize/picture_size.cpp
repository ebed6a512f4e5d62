#include "picture_size.h"

#include <charconv>

namespace vorin::stylize {
namespace {

std::optional<std::uint64_t> parseNumber(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc{} || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return number;
}

} // namespace

bool isUsableSize(std::uint64_t width, std::uint64_t height) {
  return width >= 1 && width <= kMaxSide && height >= 1 && height <= kMaxSide && width * height <= kMaxPixels;
}

std::string sizeLimits() {
  return "sides of 1 to " + std::to_string(kMaxSide) + " and at most " + std::to_string(kMaxPixels) + " pixels";
}

std::optional<cv::Size> parseSize(std::string_view text) {
  const auto cross = text.find('x');
  if (cross == std::string_view::npos) {
    return std::nullopt;
  }
  const auto width = parseNumber(text.substr(0, cross));
  const auto height = parseNumber(text.substr(cross + 1));
  if (!width || !height || !isUsableSize(*width, *height)) {
    return std::nullopt;
  }
  return cv::Size(static_cast<int>(*width), static_cast<int>(*height));
}

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

} // namespace vorin::stylize
