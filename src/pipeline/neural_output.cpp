#include "pipeline/neural_output.h"

#include <opencv2/core/hal/intrin.hpp>

#include <array>
#include <cfloat>
#include <cstddef>
#include <limits>

namespace vorin {
namespace {

// The network's deviation and mean of one plane.
struct Normalisation {
  double deviation;
  double mean;
};

constexpr std::array<Normalisation, 3> kNormalisations = {{{0.225, 0.406}, {0.224, 0.456}, {0.229, 0.485}}};

// The smallest and the largest of the values seen; not-a-number is none.
struct Range {
  float minimum = std::numeric_limits<float>::infinity();
  float maximum = -std::numeric_limits<float>::infinity();

  void include(float value) { include(value, value); }

  void include(float smallest, float largest) {
    minimum = smallest < minimum ? smallest : minimum;
    maximum = largest > maximum ? largest : maximum;
  }
};

#if CV_SSE2 && CV_SIMD128_64F

// The loops below rely on what this instruction set does about not-a-number: the smaller and the larger of two values are the
// second operand when either is not a number.
class VectorRange {
public:
  void include(const cv::v_float32x4& values) {
    minimum_ = cv::v_min(values, minimum_);
    maximum_ = cv::v_max(values, maximum_);
  }

  void includeIn(Range& range) const { range.include(cv::v_reduce_min(minimum_), cv::v_reduce_max(maximum_)); }

private:
  cv::v_float32x4 minimum_ = cv::v_setall_f32(std::numeric_limits<float>::infinity());
  cv::v_float32x4 maximum_ = cv::v_setall_f32(-std::numeric_limits<float>::infinity());
};

// Both return how many values, from the first on, they have dealt with.
std::size_t denormaliseVectors(float* values, std::size_t count, const Normalisation& normalisation, Range& range) {
  const cv::v_float64x2 deviation = cv::v_setall_f64(normalisation.deviation);
  const cv::v_float64x2 mean = cv::v_setall_f64(normalisation.mean);
  const cv::v_float32x4 zero = cv::v_setzero_f32();
  const cv::v_float32x4 one = cv::v_setall_f32(1.0F);
  VectorRange vector_range;
  std::size_t index = 0;
  for (; index + 4 <= count; index += 4) {
    const cv::v_float32x4 value = cv::v_load(values + index);
    const cv::v_float64x2 low = cv::v_cvt_f64(value) * deviation + mean;
    const cv::v_float64x2 high = cv::v_cvt_f64_high(value) * deviation + mean;
    const cv::v_float32x4 clamped = cv::v_max(zero, cv::v_min(one, cv::v_cvt_f32(low, high)));
    cv::v_store(values + index, clamped);
    vector_range.include(clamped);
  }
  vector_range.includeIn(range);
  return index;
}

std::size_t includeVectors(const float* values, std::size_t count, Range& range) {
  VectorRange even;
  VectorRange odd; // two at a time, for one has to wait for the last
  std::size_t index = 0;
  for (; index + 8 <= count; index += 8) {
    even.include(cv::v_load(values + index));
    odd.include(cv::v_load(values + index + 4));
  }
  even.includeIn(range);
  odd.includeIn(range);
  return index;
}

#else

std::size_t denormaliseVectors(float*, std::size_t, const Normalisation&, Range&) {
  return 0;
}

std::size_t includeVectors(const float*, std::size_t, Range&) {
  return 0;
}

#endif

void denormalise(float* values, std::size_t count, const Normalisation& normalisation, Range& range) {
  for (std::size_t index = denormaliseVectors(values, count, normalisation, range); index < count; ++index) {
    float value = static_cast<float>(static_cast<double>(values[index]) * normalisation.deviation + normalisation.mean);
    value = value > 1.0F ? 1.0F : value;
    value = value < 0.0F ? 0.0F : value;
    values[index] = value;
    range.include(value);
  }
}

Range rangeOf(const float* values, std::size_t count) {
  Range range;
  for (std::size_t index = includeVectors(values, count, range); index < count; ++index) {
    range.include(values[index]);
  }
  return range;
}

std::size_t planeSize(int height, int width) {
  return static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
}

struct Scaling {
  double scale;
  double shift;
};

// The scale and shift that cv::normalize uses for images of floats: the scale is rounded first, and the shift made from that.
Scaling stretchTo255(const Range& range) {
  const double minimum = range.minimum;
  const double extent = range.maximum - minimum;
  const float scale = static_cast<float>(255.0 * (extent > DBL_EPSILON ? 1.0 / extent : 0.0));
  return {scale, 0.0F - static_cast<float>(minimum * static_cast<double>(scale))};
}

void scaledPlanesToImage(const float* planes, int height, int width, const Scaling& scaling, cv::Mat& byte_planes,
                         cv::Mat& image) {
  // An image cannot be laid over constants; this one is only read.
  const cv::Mat float_planes(3 * height, width, CV_32FC1, const_cast<float*>(planes)); // NOLINT(*-const-cast)
  float_planes.convertTo(byte_planes, CV_8U, scaling.scale, scaling.shift);
  const std::array<cv::Mat, 3> channels = {byte_planes.rowRange(0, height), byte_planes.rowRange(height, 2 * height),
                                           byte_planes.rowRange(2 * height, 3 * height)};
  cv::merge(channels.data(), channels.size(), image);
}

} // namespace

void transferOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  const std::size_t count = planeSize(height, width);
  Range range;
  for (std::size_t plane = 0; plane < kNormalisations.size(); ++plane) {
    denormalise(planes + plane * count, count, kNormalisations[plane], range);
  }
  scaledPlanesToImage(planes, height, width, stretchTo255(range), byte_planes, image);
}

void lightGreyOutputToImage(const float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  const Range range = rangeOf(planes, 3 * planeSize(height, width));
  scaledPlanesToImage(planes, height, width, stretchTo255(range), byte_planes, image);
}

void cartoonOutputToImage(const float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image) {
  scaledPlanesToImage(planes, height, width, {127.5, 127.5}, byte_planes, image);
}

} // namespace vorin
