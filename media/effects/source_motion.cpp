#include "effects/steady_blend.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace vorin::media {
namespace {

constexpr int kSmallSide = 240;       // the longer side of a small picture, roughly
constexpr int kLeastSmallSide = 16;   // the search moves patches of 8 pixels
constexpr double kCutTrust = 0.5;     // a lower mean trust is a cut
constexpr double kLeastNoise = 0.25;  // grey levels
constexpr double kFirstNoise = 1;     // grey levels
constexpr double kNoiseGrowth = 1.25; // limit from frame to frame: a cut would look like noise
constexpr double kUnseenLag = 0.15;   // small pixels: too short to see, and fine texture never matches better
constexpr float kFlatTexture = 4.0F;  // squared grey levels from pixel to pixel: less is noise

cv::Size smallSize(cv::Size size) {
  const int divisor = std::max(1, (std::max(size.width, size.height) + kSmallSide / 2) / kSmallSide);
  return {std::max(kLeastSmallSide, size.width / divisor), std::max(kLeastSmallSide, size.height / divisor)};
}

cv::Ptr<cv::DISOpticalFlow> makeSearch() {
  cv::Ptr<cv::DISOpticalFlow> search = cv::DISOpticalFlow::create(cv::DISOpticalFlow::PRESET_ULTRAFAST);
  search->setFinestScale(0);
  search->setPatchStride(8);
  search->setGradientDescentIterations(4);
  return search;
}

cv::Mat textureOf(const cv::Mat& grey) {
  constexpr double kPerPixel = 0.125;
  cv::Mat across;
  cv::Mat down;
  cv::Sobel(grey, across, CV_32F, 1, 0, 3, kPerPixel);
  cv::Sobel(grey, down, CV_32F, 0, 1, 3, kPerPixel);
  return across.mul(across) + down.mul(down);
}

float medianOf(std::vector<float> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

bool isNear(cv::Point2f a, cv::Point2f b, float distance) {
  return std::abs(a.x - b.x) < distance && std::abs(a.y - b.y) < distance;
}

// The median noise of a difference, in grey levels. Takes off the local mean first: a change of light is not noise.
double noiseOf(const cv::Mat& difference) {
  constexpr double kLevels = 8; // steps of a grey level
  cv::Mat around;
  cv::boxFilter(difference, around, -1, {9, 9});
  cv::Mat noise = cv::abs(difference - around);
  noise.convertTo(noise, CV_8U, kLevels);
  std::array<int, 256> counts{};
  for (int row = 0; row < noise.rows; ++row) {
    std::for_each_n(noise.ptr(row), noise.cols, [&](std::uint8_t value) { ++counts[value]; });
  }
  std::size_t median = 0;
  for (int seen = counts[0]; 2 * seen < noise.rows * noise.cols; seen += counts[median]) {
    ++median;
  }
  return static_cast<double>(median) / kLevels;
}

} // namespace

bool SourceMotion::follow(const cv::Mat& frame, cv::Size picture_size) {
  const bool comparable = !previous_.empty() && picture_size == picture_size_;
  picture_size_ = picture_size;
  makePresent(frame);
  bool followed = false;
  if (comparable) {
    search();
    moveMemory();
    weighTrust();
    followed = cv::mean(trust_)[0] >= kCutTrust * 255;
  }
  if (followed) {
    remember();
  } else {
    present_.convertTo(memory_, CV_32F); // nothing else of the time before lives on
    noise_ = kFirstNoise;
  }
  std::swap(previous_, blurred_);
  return followed;
}

void SourceMotion::makePresent(const cv::Mat& frame) {
  const cv::Size size = smallSize(picture_size_);
  const cv::Size twice(2 * size.width, 2 * size.height);
  const bool is_large = frame.cols > twice.width && frame.rows > twice.height;
  cv::Mat halfway = frame;
  if (is_large) { // averaging some of a large frame's pixels is as good as averaging all, and faster
    cv::resize(frame, halfway, twice, 0, 0, cv::INTER_LINEAR);
  }
  cv::resize(halfway, small_colour_, size, 0, 0, cv::INTER_AREA);
  if (small_colour_.channels() == 3) {
    cv::cvtColor(small_colour_, present_, cv::COLOR_BGR2GRAY);
  } else {
    small_colour_.copyTo(present_);
  }
  cv::GaussianBlur(present_, blurred_, {5, 5}, 1.0);
}

void SourceMotion::search() {
  if (search_ == nullptr) {
    search_ = makeSearch();
  }
  flow_.release(); // calc() would take the old flow as its first guess
  search_->calc(blurred_, previous_, flow_);
  texture_ = textureOf(present_);
  settleOnTexture();
  settleOnCamera();
  const double across = static_cast<double>(picture_size_.width) / flow_.cols;
  const double down = static_cast<double>(picture_size_.height) / flow_.rows;
  cv::multiply(flow_, cv::Scalar(across, down), motion_);
}

void SourceMotion::settleOnTexture() {
  constexpr float kLeast = 0.01F; // keeps the divisor above 0 where all is flat
  constexpr float kMost = 400.0F; // a stronger edge counts no more
  const cv::Size around(9, 9);
  cv::Mat weight;
  cv::max(texture_ - kFlatTexture, kLeast, weight);
  cv::min(weight, kMost, weight);
  cv::Mat weights;
  cv::boxFilter(weight, weights, -1, around);
  std::array<cv::Mat, 2> parts;
  cv::split(flow_, parts.data());
  for (cv::Mat& part : parts) {
    cv::multiply(part, weight, part);
    cv::boxFilter(part, part, -1, around);
    cv::divide(part, weights, part);
  }
  cv::merge(parts.data(), parts.size(), flow_);
}

void SourceMotion::settleOnCamera() {
  constexpr float kAsOne = 0.12F; // small pixels: this near the median moves with the camera
  constexpr float kNearly = 0.25F;
  constexpr int kStep = 3; // every third place is enough for a median
  std::vector<cv::Point2f> seen;
  std::vector<float> across;
  std::vector<float> down;
  for (int row = 0; row < flow_.rows; row += kStep) {
    for (int column = 0; column < flow_.cols; column += kStep) {
      if (texture_.at<float>(row, column) > 2 * kFlatTexture) {
        seen.push_back(flow_.at<cv::Point2f>(row, column));
        across.push_back(seen.back().x);
        down.push_back(seen.back().y);
      }
    }
  }
  if (seen.empty()) {
    return;
  }
  const cv::Point2f camera(medianOf(std::move(across)), medianOf(std::move(down)));
  const auto as_one = std::count_if(seen.begin(), seen.end(), [&](cv::Point2f flow) { return isNear(flow, camera, kAsOne); });
  if (static_cast<double>(as_one) < 0.6 * static_cast<double>(seen.size())) {
    return;
  }
  for (int row = 0; row < flow_.rows; ++row) {
    auto* flow = flow_.ptr<cv::Point2f>(row);
    std::replace_if(
        flow, flow + flow_.cols, [&](cv::Point2f one) { return isNear(one, camera, kNearly); }, camera);
  }
}

void SourceMotion::moveMemory() {
  cv::Mat place(flow_.size(), CV_32FC2);
  for (int row = 0; row < place.rows; ++row) {
    const auto* flow = flow_.ptr<cv::Point2f>(row);
    auto* from = place.ptr<cv::Point2f>(row);
    for (int column = 0; column < place.cols; ++column) {
      from[column] = flow[column] + cv::Point2f(static_cast<float>(column), static_cast<float>(row));
    }
  }
  cv::remap(memory_, moved_, place, cv::noArray(), cv::INTER_CUBIC, cv::BORDER_REPLICATE);
}

void SourceMotion::weighTrust() {
  cv::Mat difference;
  cv::subtract(present_, moved_, difference, cv::noArray(), CV_32F);
  noise_ = std::min(noiseOf(difference), kNoiseGrowth * noise_ + kLeastNoise);
  const double trusted = 2 + 3 * noise_; // grey levels
  const double untrusted = 2 * trusted + 4;
  cv::Mat steps;
  cv::sqrt(texture_, steps);
  difference = cv::abs(difference) - kUnseenLag * steps; // a negative difference means full trust
  cv::boxFilter(difference, difference, -1, {3, 3});
  const double slope = 255 / (untrusted - trusted);
  difference.convertTo(trust_, CV_8U, -slope, slope * untrusted);
  cv::erode(trust_, trust_, cv::Mat());
}

void SourceMotion::remember() {
  for (int row = 0; row < memory_.rows; ++row) {
    const std::uint8_t* present = present_.ptr(row);
    const std::uint8_t* trust = trust_.ptr(row);
    const float* moved = moved_.ptr<float>(row);
    float* memory = memory_.ptr<float>(row);
    for (int column = 0; column < memory_.cols; ++column) {
      const float weight = static_cast<float>(kept_ / 255) * static_cast<float>(trust[column]);
      memory[column] = static_cast<float>(present[column]) * (1 - weight) + moved[column] * weight;
    }
  }
}

} // namespace vorin::media
