// The library's resizing against the imaging library's, byte for byte.
#include "neural/bilinear_resize.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <array>

namespace vorin {
namespace {

cv::Mat noise(const cv::Size& size, int type) {
  cv::Mat image(size, type);
  cv::RNG generator(20240611);
  generator.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

struct Sizes {
  cv::Size source;
  cv::Size result;
};

const std::array kSizes = {
    Sizes{{64, 48}, {32, 24}},  // half: the mean of four
    Sizes{{74, 46}, {37, 23}},  // half, of odd size
    Sizes{{64, 48}, {128, 96}}, // twice
    Sizes{{64, 48}, {32, 25}},  // half in one direction only
    Sizes{{97, 61}, {40, 33}},  Sizes{{40, 33}, {97, 61}}, Sizes{{33, 50}, {33, 20}},     Sizes{{33, 50}, {120, 50}},
    Sizes{{19, 11}, {19, 11}}, // nothing to do
    Sizes{{2, 2}, {41, 17}},    Sizes{{3, 1}, {17, 9}},    Sizes{{1, 9}, {12, 20}},       Sizes{{300, 200}, {1, 1}},
    Sizes{{300, 200}, {3, 2}},  Sizes{{2, 2}, {1, 1}},     Sizes{{480, 270}, {256, 256}},
};

class BilinearResizeTest : public testing::TestWithParam<int> {};

TEST_P(BilinearResizeTest, GivesTheImagingLibrarysBytes) {
  neural::BilinearResize reused; // for all sizes, one after the other
  cv::Mat result;
  for (const Sizes& sizes : kSizes) {
    const cv::Mat whole = noise({sizes.source.width + 5, sizes.source.height + 2}, GetParam());
    const cv::Mat source = whole(cv::Rect({3, 1}, sizes.source)); // padded rows
    cv::Mat expected;
    cv::resize(source, expected, sizes.result, 0.0, 0.0, cv::INTER_LINEAR);
    for (int pass = 0; pass < 2; ++pass) { // with new and with known tables
      result.setTo(cv::Scalar::all(77));
      reused.resize(source, result, sizes.result);
      ASSERT_EQ(result.size(), expected.size());
      EXPECT_EQ(cv::norm(result, expected, cv::NORM_INF), 0.0) << sizes.source << " to " << sizes.result << ", pass " << pass;
    }
  }
}

TEST_P(BilinearResizeTest, KeepsTheResultsMemoryWhileTheSizeStays) {
  neural::BilinearResize resize;
  cv::Mat result;
  resize.resize(noise({40, 30}, GetParam()), result, {50, 20});
  const auto* const data = result.data;
  resize.resize(noise({40, 30}, GetParam()), result, {50, 20});
  EXPECT_EQ(result.data, data);
}

INSTANTIATE_TEST_SUITE_P(Channels, BilinearResizeTest, testing::Values(CV_8UC3, CV_8UC4));

TEST(BilinearResize, RefusesWhatTheImagingLibraryRefuses) {
  neural::BilinearResize resize;
  cv::Mat result;
  EXPECT_THROW(resize.resize(cv::Mat(), result, {8, 8}), cv::Exception);
  EXPECT_THROW(resize.resize(noise({8, 8}, CV_8UC3), result, {0, 8}), cv::Exception);
  EXPECT_THROW(resize.resize(noise({8, 8}, CV_8UC3), result, {8, 0}), cv::Exception);
}

} // namespace
} // namespace vorin
