#include "literal_smoothing.h"

#include <array>
#include <cstdint>
#include <cstdlib>

namespace vorin::bench {
namespace {

using Differences = std::array<int, 3>;

Differences differencesOf(const std::uint8_t* current, const std::uint8_t* previous) {
  return {std::abs(current[0] - previous[0]), std::abs(current[1] - previous[1]), std::abs(current[2] - previous[2])};
}

} // namespace

void literalContentSmoothing(cv::Mat& image, const cv::Mat& previous) {
  for (int row = 0; row < image.rows; ++row) {
    std::uint8_t* current = image.ptr<std::uint8_t>(row);
    const std::uint8_t* before = previous.ptr<std::uint8_t>(row);
    for (int column = 0; column < image.cols; ++column, current += 3, before += 3) {
      const Differences differences = differencesOf(current, before);
      if (differences[0] < 10 && differences[1] < 10 && differences[2] < 10) {
        for (int channel = 0; channel < 3; ++channel) {
          current[channel] = static_cast<std::uint8_t>(0.1 * current[channel] + 0.9 * before[channel]);
        }
      }
    }
  }
}

void literalOutputSmoothing(cv::Mat& result, const cv::Mat& previous) {
  for (int row = 0; row < result.rows; ++row) {
    std::uint8_t* current = result.ptr<std::uint8_t>(row);
    const std::uint8_t* before = previous.ptr<std::uint8_t>(row);
    for (int column = 0; column < result.cols; ++column, current += 3, before += 3) {
      const Differences differences = differencesOf(current, before);
      if (differences[0] >= 10 || differences[1] >= 10 || differences[2] >= 10) {
        for (int channel = 0; channel < 3; ++channel) {
          current[channel] = static_cast<std::uint8_t>(static_cast<float>(current[channel]) * 0.8F +
                                                       static_cast<float>(before[channel]) * (1.0F - 0.8F));
        }
      } else {
        const float weight = static_cast<float>((differences[0] + differences[1] + differences[2]) / 765.0);
        for (int channel = 0; channel < 3; ++channel) {
          current[channel] = static_cast<std::uint8_t>(static_cast<float>(before[channel]) * (1.0F - weight) +
                                                       static_cast<float>(current[channel]) * weight);
        }
      }
    }
  }
}

} // namespace vorin::bench
