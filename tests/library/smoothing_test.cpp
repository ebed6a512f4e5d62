// Both smoothings in time, the frame's and the drawing's, against their definitions computed pixel by pixel. Equal, byte by byte.
#include "neural/content_smoothing.h"
#include "pipeline/temporal_smoothing.h"
#include "support/neural_reference.h"
#include "support/padded_image.h"

#include <gtest/gtest.h>

namespace vorin {
namespace {

using namespace tests;

// A smoothing and its definition.
struct Smoothing {
  const char* name;
  void (*smooth)(cv::Mat& current, const cv::Mat& previous);
  Picture (*definition)(Picture now, const Picture& before);
};

Picture bytesOf(const cv::Mat& image) {
  const cv::Mat packed = image.clone();
  return {packed.datastart, packed.dataend};
}

class SmoothingTest : public testing::TestWithParam<Smoothing> {
protected:
  // Smooths `current` and compares each byte; `previous` must be left alone.
  static void expectSmoothed(cv::Mat& current, const cv::Mat& previous) {
    const Picture before = bytesOf(previous);
    const Picture expected = GetParam().definition(bytesOf(current), before);
    GetParam().smooth(current, previous);
    const Picture actual = bytesOf(current);
    const auto first = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    ASSERT_TRUE(first.first == actual.end()) << "byte " << first.first - actual.begin() << " of " << current.size();
    ASSERT_TRUE(bytesOf(previous) == before) << current.size();
  }
};

INSTANTIATE_TEST_SUITE_P(Kinds, SmoothingTest,
                         testing::Values(Smoothing{"Content", neural::smoothContent, smoothedContent},
                                         Smoothing{"Output", smoothOutput, smoothedOutput}),
                         [](const auto& each) { return each.param.name; });

// Every pair of bytes in each channel; the pixel's others at rest, so that pairs less than 10 apart are flicker, or changed as
// well.
TEST_P(SmoothingTest, EveryPairOfBytesInEveryChannel) {
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
TEST_P(SmoothingTest, EveryPairOfBytesInFlatParts) {
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

// Of every width up to 70, and one of many strips, all with padded rows; nothing is written outside them.
TEST_P(SmoothingTest, MovingPicturesOfAllWidths) {
  std::mt19937 random(1601);
  const auto checkOne = [&](int width, int height, int current_gap, int previous_gap) {
    PaddedImage current(width, height, current_gap);
    PaddedImage previous(width, height, previous_gap);
    fillWithMotion(current.image(), previous.image(), random);
    expectSmoothed(current.image(), previous.image());
    EXPECT_TRUE(current.surroundingsIntact()) << width;
    EXPECT_TRUE(previous.surroundingsIntact()) << width;
  };
  for (int width = 1; width <= 70; ++width) {
    checkOne(width, 5, 7, 1 + width % 4);
  }
  checkOne(1283, 11, 13, 0);
}

// By hand. A step of 9 up in a frame is swallowed, one down takes one off, 10 passes. In a drawing, 9 is flicker and 10 a change:
// 0.8 x 110 + 0.2 x 100 = 108; from 255 to 0, 0.19999999 x 255 falls short of 51.
TEST(Smoothing, ByHand) {
  Picture previous = {100, 100, 100, 100, 100, 100, 100, 100, 100, 255, 0, 60};
  Picture frame = {109, 100, 91, 110, 100, 100, 100, 100, 90, 255, 0, 60};
  cv::Mat frame_image(1, 4, CV_8UC3, frame.data());
  neural::smoothContent(frame_image, cv::Mat(1, 4, CV_8UC3, previous.data()));
  EXPECT_EQ(frame, (Picture{100, 100, 99, 110, 100, 100, 100, 100, 90, 255, 0, 60}));
  Picture drawing = {109, 100, 91, 110, 100, 100, 100, 100, 100, 0, 255, 60};
  cv::Mat drawing_image(1, 4, CV_8UC3, drawing.data());
  smoothOutput(drawing_image, cv::Mat(1, 4, CV_8UC3, previous.data()));
  EXPECT_EQ(drawing, (Picture{100, 100, 99, 108, 100, 100, 100, 100, 100, 50, 204, 60}));
}

} // namespace
} // namespace vorin
