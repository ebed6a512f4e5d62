#include "picture_size.h"

#include <opencv2/core.hpp>

#include <algorithm>
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

cv::Size networkSize(cv::Size picture_size) {
  constexpr int kLeastSide = 32;
  constexpr double kMaxWidth = 1920;
  constexpr double kMaxHeight = 1080;
  const double scale = std::min({1.0, kMaxWidth / picture_size.width, kMaxHeight / picture_size.height});
  return {std::max(kLeastSide, cvRound(picture_size.width * scale)), std::max(kLeastSide, cvRound(picture_size.height * scale))};
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
