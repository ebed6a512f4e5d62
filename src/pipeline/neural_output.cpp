#include "pipeline/neural_output.h"

#include <array>
#include <cstddef>

namespace vorin {
namespace {

// The network's deviation and mean of one plane.
struct Normalisation {
  double deviation;
  double mean;
};

constexpr std::array<Normalisation, 3> kNormalisations = {{{0.225, 0.406}, {0.224, 0.456}, {0.229, 0.485}}};

void denormalise(float* values, std::size_t count, const Normalisation& normalisation) {
  for (std::size_t index = 0; index < count; ++index) {
    float value = static_cast<float>(static_cast<double>(values[index]) * normalisation.deviation + normalisation.mean);
    value = value > 1.0F ? 1.0F : value;
    value = value < 0.0F ? 0.0F : value;
    values[index] = value;
  }
}

// The three planes as one image of one channel, over their memory.
cv::Mat wrapPlanes(float* planes, int height, int width) {
  return {3 * height, width, CV_32FC1, planes};
}

void mergeAsBytes(const cv::Mat& float_planes, double scale, double shift, cv::Mat& byte_planes, cv::Mat& image) {
  float_planes.convertTo(byte_planes, CV_8U, scale, shift);
  const int height = byte_planes.rows / 3;
  const std::array<cv::Mat, 3> channels = {byte_planes.rowRange(0, height), byte_planes.rowRange(height, 2 * height),
                                           byte_planes.rowRange(2 * height, 3 * height)};
  cv::merge(channels.data(), channels.size(), image);
}

} // namespace

void transferOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  const std::size_t count = static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
  for (std::size_t plane = 0; plane < kNormalisations.size(); ++plane) {
    denormalise(planes + plane * count, count, kNormalisations[plane]);
  }
  lightGreyOutputToImage(planes, height, width, byte_planes, image);
}

void lightGreyOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  cv::Mat float_planes = wrapPlanes(planes, height, width);
  cv::normalize(float_planes, float_planes, 0, 255, cv::NORM_MINMAX);
  mergeAsBytes(float_planes, 1.0, 0.0, byte_planes, image);
}

void cartoonOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  mergeAsBytes(wrapPlanes(planes, height, width), 127.5, 127.5, byte_planes, image);
}

} // namespace vorin
