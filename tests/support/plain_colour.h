// Colour conversions written out from their definitions, in double precision, as the other side of the library's: nothing here is
// shared with the code under test.
#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

namespace vorin::tests {

using Bgr = std::array<std::uint8_t, 3>;
using Yuv = std::array<std::uint8_t, 3>;

inline std::uint8_t toByte(double value) {
  return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

// ITU-R BT.601, video range: luma 16 to 235, chroma 16 to 240 around 128. Video codecs and NV12 cameras use it.
inline Yuv videoYuv(const Bgr& c) {
  const auto [b, g, r] = c;
  return {toByte(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255), toByte(128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255),
          toByte(128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255)};
}

inline Bgr fromVideoYuv(const Yuv& c) {
  const double y = std::max(0, c[0] - 16) * 255.0 / 219.0;
  const double u = (c[1] - 128) * 255.0 / 224.0;
  const double v = (c[2] - 128) * 255.0 / 224.0;
  return {toByte(y + 1.772 * u), toByte(y - 0.344136 * u - 0.714136 * v), toByte(y + 1.402 * v)};
}

// Analogue YUV over the full range: Y by the BT.601 weights, U and V the scaled colour differences around 128.
inline Yuv fullYuv(const Bgr& c) {
  const double y = 0.299 * c[2] + 0.587 * c[1] + 0.114 * c[0];
  return {toByte(y), toByte(128 + 0.492 * (c[0] - y)), toByte(128 + 0.877 * (c[2] - y))};
}

// A picture of blocks of 2 x 2 equal pixels, so that 4:2:0 and 4:2:2 chroma are the same wherever a converter samples it.
inline cv::Mat blockPicture(int width, int height, int channels, std::uint32_t seed = 4711) {
  cv::Mat picture(height, width, CV_8UC(channels));
  std::mt19937 random(seed);
  for (int y = 0; y < height; ++y) {
    for (int byte = 0; byte < width * channels; ++byte) {
      const bool is_odd_column = byte / channels % 2 == 1;
      picture.ptr(y)[byte] = y % 2 == 1      ? picture.ptr(y - 1)[byte]
                             : is_odd_column ? picture.ptr(y)[byte - channels]
                                             : static_cast<std::uint8_t>(random());
    }
  }
  return picture;
}

inline Bgr bgrAt(const cv::Mat& picture, int x, int y) {
  const std::uint8_t* pixel = picture.ptr(y) + x * picture.channels();
  return {pixel[0], pixel[1], pixel[2]};
}

} // namespace vorin::tests
