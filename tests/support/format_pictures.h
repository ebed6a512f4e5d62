// What the tests of the pixel formats share: pictures, frames over buffers, and both ways out.
#pragma once

#include "pipeline/pixel_format.h"
#include "support/plain_colour.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace vorin::tests {

// A picture of blocks of 2 x 2 equal pixels, so that 4:2:0 and 4:2:2 chroma are the same wherever a converter samples it.
inline cv::Mat blockPicture(int width, int height, int channels) {
  cv::Mat picture(height, width, CV_8UC(channels));
  std::mt19937 random(4711);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        const bool copy_left = x % 2 == 1;
        const bool copy_above = y % 2 == 1;
        picture.ptr(y)[x * channels + c] = copy_above  ? picture.ptr(y - 1)[x * channels + c]
                                           : copy_left ? picture.ptr(y)[(x - 1) * channels + c]
                                                       : static_cast<std::uint8_t>(random());
      }
    }
  }
  return picture;
}

inline Bgr bgrAt(const cv::Mat& picture, int x, int y) {
  const std::uint8_t* pixel = picture.ptr(y) + x * picture.channels();
  return {pixel[0], pixel[1], pixel[2]};
}

inline SttFrame frameOver(void* data, SttPixelFormat format, int width, int height, int pitch_bytes = 0) {
  return {VORIN_MEM_SYSTEM,
          data,
          format,
          static_cast<std::uint32_t>(width),
          static_cast<std::uint32_t>(height),
          static_cast<std::uint32_t>(pitch_bytes)};
}

inline void expectNear(std::uint8_t actual, std::uint8_t expected, int tolerance, const char* what, int x, int y) {
  ASSERT_LE(std::abs(actual - expected), tolerance)
      << what << " at " << x << ", " << y << ": " << int{actual} << " instead of " << int{expected};
}

enum class Way { kNeural, kFilter };

inline void deliver(Way way, SttFrame& output, const cv::Mat& result) {
  PixelFormatBuffers buffers;
  if (way == Way::kNeural) {
    neuralOutputToHost(output, result, buffers);
  } else {
    filterOutputToHost(output, result, buffers);
  }
}

// Once for each way.
class OutputTest : public testing::TestWithParam<Way> {
protected:
  static bool isNeural() { return GetParam() == Way::kNeural; }
  static int channels() { return isNeural() ? 3 : 4; }
};

inline const auto kWays = testing::Values(Way::kNeural, Way::kFilter);
inline std::string nameOfWay(const testing::TestParamInfo<Way>& way) {
  return way.param == Way::kNeural ? "Neural" : "Filter";
}

} // namespace vorin::tests
