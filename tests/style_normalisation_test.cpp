// The style image as the network takes it, against the formula computed in double precision. Equal floats.
#include "neural/style_normalisation.h"
#include "support/padded_image.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

namespace vorin::neural {
namespace {

using tests::GuardedBuffer;
using tests::PaddedImage;

// Normalises the image into a watched buffer and compares each float of each plane.
void expectNormalised(const cv::Mat& image) {
  const std::size_t plane = static_cast<std::size_t>(image.rows) * static_cast<std::size_t>(image.cols);
  GuardedBuffer buffer(3 * plane * sizeof(float));
  auto* planes = reinterpret_cast<float*>(buffer.data());
  normaliseStyle(image, planes);
  const float* value = planes;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x, ++value) {
      const std::uint8_t* pixel = image.ptr(y, x);
      ASSERT_EQ(value[0], static_cast<float>((pixel[0] - 103.53) / 57.375)) << x << ", " << y;
      ASSERT_EQ(value[plane], static_cast<float>((pixel[1] - 116.28) / 57.12)) << x << ", " << y;
      ASSERT_EQ(value[2 * plane], static_cast<float>((pixel[2] - 123.675) / 58.395)) << x << ", " << y;
    }
  }
  EXPECT_TRUE(buffer.guardIntact());
}

TEST(StyleNormalisation, EveryByteInEveryPlane) {
  cv::Mat image(3, 256, CV_8UC3);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 256; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        image.ptr(y)[3 * x + channel] = static_cast<std::uint8_t>(x + 85 * (y + channel));
      }
    }
  }
  expectNormalised(image);
}

TEST(StyleNormalisation, PaddedPicturesOfOddSizes) {
  std::mt19937 random(1701);
  for (const auto& [width, height] :
       {std::tuple(1, 1), std::tuple(1, 7), std::tuple(7, 1), std::tuple(37, 5), std::tuple(131, 3)}) {
    PaddedImage padded(width, height, 5);
    for (int y = 0; y < height; ++y) {
      for (int byte = 0; byte < 3 * width; ++byte) {
        padded.image().ptr(y)[byte] = static_cast<std::uint8_t>(random());
      }
    }
    expectNormalised(padded.image());
    EXPECT_TRUE(padded.surroundingsIntact());
  }
}

} // namespace
} // namespace vorin::neural
