#include "lost_drawing.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vorin::stylize {
namespace {

// The standard deviation of the channel that varies most.
double contrastOf(const cv::Mat& picture) {
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(picture, mean, deviation);
  return *std::max_element(deviation.val, deviation.val + std::min(picture.channels(), 3));
}

} // namespace

bool isOneColour(const cv::Mat& picture) {
  const std::size_t pixel_bytes = picture.elemSize();
  const std::size_t row_bytes = pixel_bytes * static_cast<std::size_t>(picture.cols);
  for (int row = 0; row < picture.rows; ++row) {
    const std::uint8_t* begin = picture.ptr(row);
    if (!std::equal(begin, begin + pixel_bytes, picture.ptr()) || !std::equal(begin + pixel_bytes, begin + row_bytes, begin)) {
      return false;
    }
  }
  return true;
}

bool isLostDrawing(const cv::Mat& photo, const cv::Mat& drawing) {
  constexpr double kClearContrast = 8;
  if (!isOneColour(drawing)) {
    return false;
  }
  cv::Mat seen;
  cv::resize(photo, seen, drawing.size(), 0, 0, cv::INTER_AREA);
  return contrastOf(seen) >= kClearContrast;
}

} // namespace vorin::stylize
