// An 8-bit image of 3 channels whose rows have a gap between them and whose end is watched.
#pragma once

#include "support/guarded_buffer.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <random>

namespace vorin::tests {

class PaddedImage {
public:
  PaddedImage(int width, int height, int gap_bytes)
      : row_bytes_(3 * width), buffer_(static_cast<std::size_t>(height) * static_cast<std::size_t>(row_bytes_ + gap_bytes)),
        image_(height, width, CV_8UC3, buffer_.data(), static_cast<std::size_t>(row_bytes_ + gap_bytes)) {}
  PaddedImage(const PaddedImage&) = delete;
  PaddedImage& operator=(const PaddedImage&) = delete;

  cv::Mat& image() { return image_; }
  const cv::Mat& image() const { return image_; }

  // Whether the gaps between the rows and the zone behind the last are as they were made.
  bool surroundingsIntact() const {
    for (int row = 0; row < image_.rows; ++row) {
      const std::uint8_t* gap = image_.ptr(row) + row_bytes_;
      const std::uint8_t* end = image_.ptr(row) + image_.step;
      if (std::any_of(gap, end, [](std::uint8_t byte) { return byte != 0xCD; })) {
        return false;
      }
    }
    return buffer_.guardIntact();
  }

private:
  int row_bytes_;
  GuardedBuffer buffer_;
  cv::Mat image_;
};

// Fills `previous` with random bytes and `current` with bytes near them: in each pixel the differences stay below a limit that is
// itself random, so that pixels without a difference, with small ones, just below and at a threshold of 10, and with large ones
// all come side by side. Every other strip of 48 columns moves as a whole, little or much.
inline void fillWithMotion(cv::Mat& current, cv::Mat& previous, std::mt19937& random) {
  constexpr int kLimits[] = {0, 1, 9, 10, 11, 255};
  for (int y = 0; y < current.rows; ++y) {
    for (int x = 0; x < current.cols; ++x) {
      const int strip = x / 48;
      const int limit = strip % 2 == 0 ? kLimits[random() % 6] : kLimits[strip % 4 == 1 ? 2 : 5];
      for (int channel = 0; channel < 3; ++channel) {
        const int before = static_cast<int>(random() % 256);
        const int difference = static_cast<int>(random() % static_cast<unsigned>(2 * limit + 1)) - limit;
        previous.ptr(y)[3 * x + channel] = static_cast<std::uint8_t>(before);
        current.ptr(y)[3 * x + channel] = static_cast<std::uint8_t>(std::clamp(before + difference, 0, 255));
      }
    }
  }
}

} // namespace vorin::tests
