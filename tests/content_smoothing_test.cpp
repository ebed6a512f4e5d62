// The network's picture smoothed in time, against the weighted sum computed pixel by pixel in double precision. Equal, byte by
// byte.
#include "neural/content_smoothing.h"
#include "support/padded_image.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace vorin::neural {
namespace {

using Pixel = std::array<std::uint8_t, 3>;

std::uint8_t weightedSum(std::uint8_t current, std::uint8_t previous) {
  return static_cast<std::uint8_t>(0.1 * current + 0.9 * previous);
}

Pixel smoothedPixel(const Pixel& current, const Pixel& previous) {
  Pixel result = current;
  const auto close = [&](std::size_t channel) { return std::abs(current[channel] - previous[channel]) < 10; };
  if (close(0) && close(1) && close(2)) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      result[channel] = weightedSum(current[channel], previous[channel]);
    }
  }
  return result;
}

Pixel pixelAt(const cv::Mat& image, int x, int y) {
  Pixel pixel;
  std::memcpy(pixel.data(), image.ptr(y, x), 3);
  return pixel;
}

// Smooths `current` and compares each pixel; `previous` must be left alone.
void expectSmoothed(cv::Mat& current, const cv::Mat& previous) {
  const cv::Mat before = current.clone();
  const cv::Mat reference = previous.clone();
  smoothContent(current, previous);
  for (int y = 0; y < current.rows; ++y) {
    for (int x = 0; x < current.cols; ++x) {
      ASSERT_EQ(pixelAt(current, x, y), smoothedPixel(pixelAt(before, x, y), pixelAt(reference, x, y)))
          << "at " << x << ", " << y << " of " << current.cols << " x " << current.rows;
      ASSERT_EQ(pixelAt(previous, x, y), pixelAt(reference, x, y));
    }
  }
}

// Every pair of bytes less than 10 apart, and those 10 and 11 apart that must stay, in each channel with the others at rest.
TEST(ContentSmoothing, EveryPairOfBytesInEveryChannel) {
  for (int channel = 0; channel < 3; ++channel) {
    cv::Mat previous(256, 23, CV_8UC3, cv::Scalar::all(77));
    cv::Mat current = previous.clone();
    for (int byte = 0; byte < 256; ++byte) {
      for (int x = 0; x < 23; ++x) {
        previous.ptr(byte)[3 * x + channel] = static_cast<std::uint8_t>(byte);
        current.ptr(byte)[3 * x + channel] = static_cast<std::uint8_t>(std::clamp(byte + x - 11, 0, 255));
      }
    }
    expectSmoothed(current, previous);
  }
}

TEST(ContentSmoothing, MovingPicturesOfAllWidths) {
  tests::checkMovingPictures(1501, [](cv::Mat& current, const cv::Mat& previous) { expectSmoothed(current, previous); });
}

// The bytes that follow from the definition by hand: a step of 9 up is swallowed, one down takes one off, 10 passes.
TEST(ContentSmoothing, ByHand) {
  std::vector<std::uint8_t> current = {109, 100, 91, 110, 100, 100, 100, 100, 90, 0, 255, 128};
  std::vector<std::uint8_t> previous = {100, 100, 100, 100, 100, 100, 100, 100, 100, 0, 255, 128};
  cv::Mat image(1, 4, CV_8UC3, current.data());
  smoothContent(image, cv::Mat(1, 4, CV_8UC3, previous.data()));
  EXPECT_EQ(current, (std::vector<std::uint8_t>{100, 100, 99, 110, 100, 100, 100, 100, 90, 0, 255, 128}));
}

} // namespace
} // namespace vorin::neural
