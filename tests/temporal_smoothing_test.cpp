// The network's output smoothed in time, against the blending computed pixel by pixel in single precision. Equal, byte by byte.
#include "pipeline/temporal_smoothing.h"
#include "support/padded_image.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace vorin {
namespace {

using Pixel = std::array<std::uint8_t, 3>;

// One rounding to single precision a step, whatever the compiler would rather do with a product that is added.
float rounded(float value) {
  volatile float stored = value;
  return stored;
}

std::uint8_t blended(std::uint8_t first, float first_weight, std::uint8_t second, float second_weight) {
  const float first_part = rounded(static_cast<float>(first) * first_weight);
  const float second_part = rounded(static_cast<float>(second) * second_weight);
  return static_cast<std::uint8_t>(rounded(first_part + second_part));
}

Pixel smoothedPixel(const Pixel& current, const Pixel& previous) {
  std::array<int, 3> differences{};
  for (std::size_t channel = 0; channel < 3; ++channel) {
    differences[channel] = std::abs(current[channel] - previous[channel]);
  }
  const bool changed = differences[0] >= 10 || differences[1] >= 10 || differences[2] >= 10;
  const float weight = static_cast<float>((differences[0] + differences[1] + differences[2]) / 765.0);
  Pixel result;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    result[channel] = changed ? blended(current[channel], 0.8F, previous[channel], rounded(1.0F - 0.8F))
                              : blended(previous[channel], rounded(1.0F - weight), current[channel], weight);
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
  smoothOutput(current, previous);
  for (int y = 0; y < current.rows; ++y) {
    for (int x = 0; x < current.cols; ++x) {
      ASSERT_EQ(pixelAt(current, x, y), smoothedPixel(pixelAt(before, x, y), pixelAt(reference, x, y)))
          << "at " << x << ", " << y << " of " << current.cols << " x " << current.rows;
      ASSERT_EQ(pixelAt(previous, x, y), pixelAt(reference, x, y));
    }
  }
}

// Every pair of bytes in each channel; the pixel's others at rest, so that pairs less than 10 apart are flicker, or changed as
// well.
TEST(TemporalSmoothing, EveryPairOfBytesInEveryChannel) {
  for (int channel = 0; channel < 3; ++channel) {
    for (const int other : {0, 200}) {
      cv::Mat previous(256, 256, CV_8UC3, cv::Scalar::all(0));
      cv::Mat current(256, 256, CV_8UC3, cv::Scalar::all(other));
      for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
          previous.ptr(y)[3 * x + channel] = static_cast<std::uint8_t>(y);
          current.ptr(y)[3 * x + channel] = static_cast<std::uint8_t>(x);
        }
      }
      expectSmoothed(current, previous);
    }
  }
}

// Every pair of bytes with nothing else near it, as in flat parts that changed as a whole: what holds for a pair must not lean on
// a neighbour that needs more care.
TEST(TemporalSmoothing, EveryPairOfBytesInFlatParts) {
  constexpr int kFlatPixels = 32;
  cv::Mat previous(256, 256 * kFlatPixels, CV_8UC3);
  cv::Mat current = previous.clone();
  for (int y = 0; y < 256; ++y) {
    for (int byte = 0; byte < 3 * previous.cols; ++byte) {
      previous.ptr(y)[byte] = static_cast<std::uint8_t>(y);
      current.ptr(y)[byte] = static_cast<std::uint8_t>(byte / (3 * kFlatPixels));
    }
  }
  expectSmoothed(current, previous);
}

// Every byte with every small difference and every weight that the two other channels can add.
TEST(TemporalSmoothing, EveryWeightOfFlicker) {
  cv::Mat previous(256, 19 * 19, CV_8UC3, cv::Scalar::all(100));
  cv::Mat current = previous.clone();
  for (int byte = 0; byte < 256; ++byte) {
    for (int x = 0; x < previous.cols; ++x) {
      const int others = x % 19; // the sum of the others' differences, 0 to 18
      previous.ptr(byte, x)[0] = static_cast<std::uint8_t>(byte);
      current.ptr(byte, x)[0] = static_cast<std::uint8_t>(std::clamp(byte + x / 19 - 9, 0, 255));
      current.ptr(byte, x)[1] = static_cast<std::uint8_t>(100 + others / 2);
      current.ptr(byte, x)[2] = static_cast<std::uint8_t>(100 - (others - others / 2));
    }
  }
  expectSmoothed(current, previous);
}

TEST(TemporalSmoothing, MovingPicturesOfAllWidths) {
  tests::checkMovingPictures(1601, [](cv::Mat& current, const cv::Mat& previous) { expectSmoothed(current, previous); });
}

// By hand. A step of 9 is flicker and 10 a change: 0.8 x 110 + 0.2 x 100 = 108. From 255 to 0, 0.19999999 x 255 falls short
// of 51.
TEST(TemporalSmoothing, ByHand) {
  std::vector<std::uint8_t> current = {109, 100, 91, 110, 100, 100, 0, 255, 60};
  std::vector<std::uint8_t> previous = {100, 100, 100, 100, 100, 100, 255, 0, 60};
  cv::Mat image(1, 3, CV_8UC3, current.data());
  smoothOutput(image, cv::Mat(1, 3, CV_8UC3, previous.data()));
  EXPECT_EQ(current, (std::vector<std::uint8_t>{100, 100, 99, 108, 100, 100, 50, 204, 60}));
}

} // namespace
} // namespace vorin
