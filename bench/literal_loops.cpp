#include "literal_loops.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vorin::bench {
namespace {

using Differences = std::array<int, 3>;

Differences differencesOf(const std::uint8_t* current, const std::uint8_t* previous) {
  return {std::abs(current[0] - previous[0]), std::abs(current[1] - previous[1]), std::abs(current[2] - previous[2])};
}

float clamped(float value) {
  if (value > 1.0F) {
    return 1.0F;
  }
  return value < 0.0F ? 0.0F : value;
}

void undoNormalisation(float* planes, std::size_t plane) {
  for (std::size_t index = 0; index < plane; ++index) {
    planes[2 * plane + index] = static_cast<float>(planes[2 * plane + index] * 0.229 + 0.485);
    planes[plane + index] = static_cast<float>(planes[plane + index] * 0.224 + 0.456);
    planes[index] = static_cast<float>(planes[index] * 0.225 + 0.406);
    planes[index] = clamped(planes[index]);
    planes[plane + index] = clamped(planes[plane + index]);
    planes[2 * plane + index] = clamped(planes[2 * plane + index]);
  }
}

void merge(const float* planes, std::size_t plane, std::vector<float>& merged) {
  merged.resize(3 * plane);
  for (std::size_t index = 0; index < plane; ++index) {
    merged[3 * index] = planes[index];
    merged[3 * index + 1] = planes[plane + index];
    merged[3 * index + 2] = planes[2 * plane + index];
  }
}

void stretchTo255(std::vector<float>& values) {
  float minimum = values.front();
  float maximum = values.front();
  for (const float value : values) {
    minimum = std::min(minimum, value);
    maximum = std::max(maximum, value);
  }
  const double extent = static_cast<double>(maximum) - minimum;
  const float scale = static_cast<float>(255.0 * (extent > DBL_EPSILON ? 1.0 / extent : 0.0));
  const float shift = 0.0F - static_cast<float>(minimum * static_cast<double>(scale));
  for (float& value : values) {
    value = value * scale + shift;
  }
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

void literalTransferOutput(float* planes, int height, int width, std::vector<float>& merged, cv::Mat& image) {
  const std::size_t plane = static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
  undoNormalisation(planes, plane);
  merge(planes, plane, merged);
  stretchTo255(merged);
  image.create(height, width, CV_8UC3);
  for (std::size_t index = 0; index < merged.size(); ++index) {
    image.data[index] = cv::saturate_cast<std::uint8_t>(merged[index]);
  }
}

} // namespace vorin::bench
