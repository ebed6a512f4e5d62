#include "pipeline/temporal_smoothing.h"

#include "neural/changed_pixels.h"

namespace vorin {
namespace {

// The second weight is 1 - 0.8 in single precision, a little less than 0.2; this matters for sums that are whole numbers.
constexpr float kCurrentWeight = 0.8F;
constexpr float kPreviousWeight = 1.0F - kCurrentWeight;

std::uint8_t followChange(std::uint8_t current, std::uint8_t previous) {
  const float blend = static_cast<float>(current) * kCurrentWeight + static_cast<float>(previous) * kPreviousWeight;
  return static_cast<std::uint8_t>(static_cast<int>(blend)); // by way of int, which has vector instructions
}

} // namespace

void smoothOutput(cv::Mat& result, const cv::Mat& previous) {
  neural::smoothPixels(result, previous, followChange);
}

} // namespace vorin
