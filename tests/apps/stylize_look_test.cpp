// The look of drawings: their strength, and the photo's colours.

#include "look.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace vorin::tests {
namespace {

constexpr int kWidth = 67;
constexpr int kHeight = 45;

cv::Mat noise(int type, std::uint64_t seed) {
  cv::Mat picture(kHeight, kWidth, type);
  cv::RNG random(seed);
  random.fill(picture, cv::RNG::UNIFORM, 0, 256);
  return picture;
}

double lumaOf(const cv::Vec4b& pixel) {
  return 0.114 * pixel[0] + 0.587 * pixel[1] + 0.299 * pixel[2];
}

cv::Vec4b pixelOf(const cv::Mat& picture, int row, int column) {
  const std::uint8_t* pixel = picture.ptr(row, column);
  return {pixel[0], pixel[1], pixel[2], 0};
}

TEST(Look, AtTheEndsOfTheStrengthNothingIsLost) {
  for (const int type : {CV_8UC3, CV_8UC4}) {
    for (const bool keep_colors : {false, true}) {
      const cv::Mat source = noise(type, 1);
      cv::Mat drawing = noise(type, 2);
      const cv::Mat before = drawing.clone();
      stylize::applyLook({1, keep_colors}, source, drawing);
      EXPECT_EQ(cv::norm(drawing, before, cv::NORM_INF) == 0, !keep_colors);
      stylize::applyLook({0, keep_colors}, source, drawing);
      EXPECT_EQ(cv::norm(drawing, source, cv::NORM_INF), 0);
    }
  }
}

// Both sides round once.
TEST(Look, BlendsInBetween) {
  const cv::Mat source = noise(CV_8UC3, 3);
  const cv::Mat drawing = noise(CV_8UC3, 4);
  for (const double strength : {0.25, 0.7}) {
    cv::Mat blended = drawing.clone();
    stylize::applyLook({strength, false}, source, blended);
    for (std::size_t index = 0; index < source.total() * 3; ++index) {
      const double expected = source.data[index] * (1 - strength) + drawing.data[index] * strength;
      ASSERT_LE(std::abs(blended.data[index] - expected), 0.51) << index;
    }
  }
}

// Blue and red keep their distance to luma, which is the drawing's, unless a colour has reached its end. Half a step for the
// rounding.
TEST(Look, TakesLumaFromTheDrawingAndChromaFromTheSource) {
  const cv::Mat source = noise(CV_8UC4, 5);
  const cv::Mat drawing = noise(CV_8UC4, 6);
  cv::Mat kept = drawing.clone();
  stylize::applyLook({1, true}, source, kept);
  int pixels_compared = 0;
  for (int row = 0; row < kHeight; ++row) {
    for (int column = 0; column < kWidth; ++column) {
      const cv::Vec4b from = pixelOf(source, row, column);
      const cv::Vec4b to = pixelOf(kept, row, column);
      const double difference = lumaOf(pixelOf(drawing, row, column)) - lumaOf(from);
      for (int plane = 0; plane < 3; ++plane) {
        ASSERT_LE(std::abs(to[plane] - std::clamp(from[plane] + difference, 0.0, 255.0)), 0.51);
      }
      if (*std::min_element(to.val, to.val + 3) > 0 && *std::max_element(to.val, to.val + 3) < 255) {
        ASSERT_NEAR(lumaOf(to), lumaOf(pixelOf(drawing, row, column)), 0.51);
        ++pixels_compared;
      }
    }
  }
  EXPECT_GT(pixels_compared, 200);
}

TEST(Look, OfNv12KeepsTheChromaPlane) {
  const stylize::Nv12Planes source = {noise(CV_8UC1, 7), noise(CV_8UC2, 8)};
  const stylize::Nv12Planes drawing = {noise(CV_8UC1, 9), noise(CV_8UC2, 10)};
  stylize::Nv12Planes kept = {drawing.luma.clone(), drawing.chroma.clone()};
  stylize::applyLook({1, true}, source, kept);
  EXPECT_EQ(cv::norm(kept.luma, drawing.luma, cv::NORM_INF) + cv::norm(kept.chroma, source.chroma, cv::NORM_INF), 0);
  stylize::applyLook({0, false}, source, kept);
  EXPECT_EQ(cv::norm(kept.luma, source.luma, cv::NORM_INF), 0);
}

TEST(StylizeLook, WorksForFiltersAndNetworks) {
  const StylizeRun run;
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const cv::Mat photo = makePhoto({61, 47});
  for (const std::string style : {"pencil", "cartoon"}) {
    const auto draw = [&](std::vector<std::string> more) {
      more.insert(more.end(), {"--style", style, "--models", package.folder(), "--overwrite"});
      const ChildResult result = run.draw(more, StylizeRun::withGpu());
      EXPECT_EQ(result.exit_status, 0) << result.standard_error;
      return loadPicture(run.file("out.png"));
    };
    const cv::Mat plain = draw({});
    EXPECT_EQ(cv::norm(draw({"--strength", "0", "--keep-colors"}), photo, cv::NORM_INF), 0) << style;
    EXPECT_EQ(cv::norm(draw({"--strength", "1"}), plain, cv::NORM_INF), 0) << style;
    cv::Mat half;
    cv::addWeighted(photo, 0.5, plain, 0.5, 0, half);
    EXPECT_LE(cv::norm(draw({"--strength", "0.5"}), half, cv::NORM_INF), 1) << style;
  }
}

} // namespace
} // namespace vorin::tests
