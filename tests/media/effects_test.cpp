// Effects alone: the look, and the chain of effects.
#include "picture_mat.h"
#include "support/media_way.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace vorin::media {
namespace {

constexpr Size kSize = {66, 46};

Picture noise(PixelLayout layout, std::uint64_t seed) {
  Picture picture(layout, kSize);
  cv::Mat bytes(1, static_cast<int>(picture.byteCount()), CV_8UC1, picture.pixels());
  cv::RNG(seed).fill(bytes, cv::RNG::UNIFORM, 0, 256);
  return picture;
}

Picture looked(const Picture& source, const Picture& result, double strength, bool keep_colours) {
  Picture picture = result.copy();
  Look(strength, keep_colours).apply(source, picture);
  return picture;
}

double lumaOf(const std::uint8_t* bgr) {
  return 0.114 * bgr[0] + 0.587 * bgr[1] + 0.299 * bgr[2];
}

// Both sides round once, and at the ends of the strength nothing is lost.
TEST(Look, BlendsByTheStrength) {
  for (const PixelLayout layout : {PixelLayout::kBgra, PixelLayout::kNv12}) {
    const Picture source = noise(layout, 1);
    const Picture result = noise(layout, 2);
    for (const double strength : {0., 0.25, 0.7, 1.}) {
      const Picture blended = looked(source, result, strength, false);
      for (std::size_t i = 0; i < source.byteCount(); ++i) {
        const double expected = source.pixels()[i] * (1 - strength) + result.pixels()[i] * strength;
        ASSERT_LE(std::abs(blended.pixels()[i] - expected), strength == 0 || strength == 1 ? 0 : 0.51) << i;
      }
    }
    const Picture kept = looked(source, result, 0, true);
    EXPECT_TRUE(std::equal(kept.pixels(), kept.pixels() + kept.byteCount(), source.pixels()));
  }
}

// Blue and red keep their distance to luma, which is the result's, unless a colour has reached its end. Half a step for rounding.
TEST(Look, TakesLumaFromTheResultAndChromaFromTheSource) {
  const Picture source = noise(PixelLayout::kBgra, 5);
  const Picture result = noise(PixelLayout::kBgra, 6);
  const Picture kept = looked(source, result, 1, true);
  int pixels_compared = 0;
  for (std::size_t at = 0; at < source.byteCount(); at += 4) {
    const std::uint8_t* from = source.pixels() + at;
    const std::uint8_t* to = kept.pixels() + at;
    const double luma = lumaOf(result.pixels() + at);
    for (int plane = 0; plane < 3; ++plane) {
      ASSERT_LE(std::abs(to[plane] - std::clamp(from[plane] + luma - lumaOf(from), 0.0, 255.0)), 0.51);
    }
    if (*std::min_element(to, to + 3) > 0 && *std::max_element(to, to + 3) < 255) {
      ASSERT_NEAR(lumaOf(to), luma, 0.51);
      ++pixels_compared;
    }
  }
  EXPECT_GT(pixels_compared, 200);
}

TEST(Look, OfNv12KeepsTheChromaPlane) {
  const Picture source = noise(PixelLayout::kNv12, 7);
  const Picture result = noise(PixelLayout::kNv12, 8);
  const Picture kept = looked(source, result, 1, true);
  EXPECT_EQ(cv::norm(matOver(kept), matOver(result), cv::NORM_INF), 0);
  EXPECT_EQ(cv::norm(chromaOver(kept), chromaOver(source), cv::NORM_INF), 0);
}

TEST(Look, RefusesAStrengthOutsideItsRange) {
  for (const double strength : {-0.1, 1.1, std::nan("")}) {
    EXPECT_THROW(Look{strength}, Error) << strength;
  }
}

TEST(Pictures, KeepTheRulesOfTheirLayouts) {
  EXPECT_THROW(Picture(PixelLayout::kNv12, {3, 2}), Error);
  EXPECT_THROW(Picture(PixelLayout::kNv12, {2, 3}), Error);
  EXPECT_THROW(Picture(PixelLayout::kYuy2, {3, 2}), Error);
  EXPECT_THROW(Picture(PixelLayout::kBgra, {0, 2}), Error);
  EXPECT_THROW(Picture(PixelLayout::kBgra, {16385, 1}), Error);
  std::array<std::uint8_t, 64> memory{};
  EXPECT_THROW(static_cast<void>(Picture::wrap(PixelLayout::kBgra, {4, 4}, memory.data(), 15)), Error);
  EXPECT_THROW(static_cast<void>(Picture::wrap(PixelLayout::kBgra, {4, 4}, static_cast<std::uint8_t*>(nullptr), 16)), Error);
  // A copy of wrapped rows with padding has none.
  memory[20] = 7;
  const Picture copied = Picture::wrap(PixelLayout::kBgr24, {2, 3}, memory.data(), 20).copy();
  EXPECT_EQ(copied.pitchBytes(), 6U);
  EXPECT_EQ(copied.pixels()[6], 7);
}

} // namespace
} // namespace vorin::media
