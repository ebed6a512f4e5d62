#include "source_motion.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace vorin::steady {
namespace {

constexpr int kSmallSide = 240;     // the longer one of the small pictures, about
constexpr int kLeastSmallSide = 16; // patches of 8 pixels have to fit, and move
constexpr double kCutTrust = 0.5;   // less on average is a cut
constexpr int kMostNoise = 6;       // of the median pixel, in grey levels: more is no noise

cv::Size smallSize(cv::Size size) {
  const int divisor = std::max(1, (std::max(size.width, size.height) + kSmallSide / 2) / kSmallSide);
  return {std::max(kLeastSmallSide, size.width / divisor), std::max(kLeastSmallSide, size.height / divisor)};
}

cv::Ptr<cv::DISOpticalFlow> makeSearch() {
  cv::Ptr<cv::DISOpticalFlow> search = cv::DISOpticalFlow::create(cv::DISOpticalFlow::PRESET_ULTRAFAST);
  search->setFinestScale(0);
  search->setPatchStride(6);
  search->setGradientDescentIterations(6);
  return search;
}

// Half of the pixels differ by no more.
int medianOf(const cv::Mat& bytes) {
  std::array<int, 256> counts{};
  for (int row = 0; row < bytes.rows; ++row) {
    const std::uint8_t* pixels = bytes.ptr(row);
    for (int column = 0; column < bytes.cols; ++column) {
      ++counts[pixels[column]];
    }
  }
  int value = 0;
  for (int seen = counts[0]; 2 * seen < bytes.rows * bytes.cols; seen += counts[static_cast<std::size_t>(value)]) {
    ++value;
  }
  return value;
}

} // namespace

bool SourceMotion::follow(const cv::Mat& frame, cv::Size picture_size) {
  const bool comparable = !previous_.empty() && picture_size == picture_size_;
  picture_size_ = picture_size;
  makePresent(frame);
  bool followed = false;
  if (comparable) {
    if (search_ == nullptr) {
      search_ = makeSearch();
    }
    flow_.release(); // or it would be taken as a first guess
    search_->calc(present_, previous_, flow_);
    settleMotion();
    followed = weighTrust() >= kCutTrust;
  }
  std::swap(previous_, present_);
  return followed;
}

// In two steps: the mean of a sixteenth of a large frame's pixels is as good as that of all, and quicker.
void SourceMotion::makePresent(const cv::Mat& frame) {
  const cv::Size size = smallSize(picture_size_);
  const cv::Size twice(2 * size.width, 2 * size.height);
  const bool is_large = frame.cols > twice.width && frame.rows > twice.height;
  if (is_large) {
    cv::resize(frame, twice_colour_, twice, 0, 0, cv::INTER_LINEAR);
  }
  cv::resize(is_large ? twice_colour_ : frame, small_colour_, size, 0, 0, cv::INTER_AREA);
  if (small_colour_.channels() == 3) {
    cv::cvtColor(small_colour_, present_, cv::COLOR_BGR2GRAY);
  } else {
    small_colour_.copyTo(present_);
  }
}

void SourceMotion::settleMotion() {
  constexpr int kAround = 9;
  constexpr float kFlatTexture = 4.0F; // of the squared steps from pixel to pixel: below lies noise
  cv::Mat across;
  cv::Mat down;
  cv::Sobel(present_, across, CV_32F, 1, 0, 3, 0.125);
  cv::Sobel(present_, down, CV_32F, 0, 1, 3, 0.125);
  cv::Mat weight = across.mul(across) + down.mul(down);
  cv::max(weight - kFlatTexture, 0.01F, weight);
  cv::min(weight, 400.0F, weight);
  cv::Mat parts[2];
  cv::split(flow_, parts);
  cv::Mat weights;
  cv::boxFilter(weight, weights, CV_32F, {kAround, kAround});
  for (cv::Mat& part : parts) {
    cv::multiply(part, weight, part);
    cv::boxFilter(part, part, CV_32F, {kAround, kAround});
    cv::divide(part, weights, part);
  }
  cv::merge(parts, 2, flow_);
  motion_.create(flow_.size(), CV_32FC2);
  const float per_x = static_cast<float>(picture_size_.width) / static_cast<float>(flow_.cols);
  const float per_y = static_cast<float>(picture_size_.height) / static_cast<float>(flow_.rows);
  cv::multiply(flow_, cv::Scalar(per_x, per_y), motion_);
}

double SourceMotion::weighTrust() {
  cv::Mat place(flow_.size(), CV_32FC2);
  for (int row = 0; row < place.rows; ++row) {
    const auto* flow = flow_.ptr<cv::Point2f>(row);
    auto* at = place.ptr<cv::Point2f>(row);
    for (int column = 0; column < place.cols; ++column) {
      at[column] = flow[column] + cv::Point2f(static_cast<float>(column), static_cast<float>(row));
    }
  }
  cv::Mat moved;
  cv::remap(previous_, moved, place, cv::noArray(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
  cv::Mat difference;
  cv::absdiff(moved, present_, difference);
  const int noise = std::min(kMostNoise, medianOf(difference));
  const double trusted = 6 + 3 * noise;
  const double untrusted = 2 * trusted + 4;
  cv::boxFilter(difference, difference, -1, {3, 3});
  difference.convertTo(trust_, CV_8U, -255 / (untrusted - trusted), 255 * untrusted / (untrusted - trusted));
  cv::erode(trust_, trust_, cv::Mat());
  return cv::mean(trust_)[0] / 255;
}

} // namespace vorin::steady
