#include "pipeline/temporal_smoothing.h"

#include "neural/changed_pixels.h"

#include <array>

namespace vorin {
namespace {

// The second weight is what single precision leaves of 1 - 0.8, a little less than 0.2; it decides sums that are whole numbers.
constexpr float kCurrentWeight = 0.8F;
constexpr float kPreviousWeight = 1.0F - kCurrentWeight;

std::uint8_t followChange(std::uint8_t current, std::uint8_t previous) {
  return static_cast<std::uint8_t>(static_cast<float>(current) * kCurrentWeight + static_cast<float>(previous) * kPreviousWeight);
}

// With differences below 10, w is at most 27 / 765, and p x (1 - w) + c x w lies less than a third from p: it is cut to p or,
// below it, to one less. Rounding never takes it over a whole number: true for all p, c and w, by trial.
std::uint8_t holdFlicker(std::uint8_t current, std::uint8_t previous) {
  return static_cast<std::uint8_t>(current < previous ? previous - 1 : previous);
}

#if CV_SIMD128

cv::v_uint8x16 holdFlicker(const cv::v_uint8x16& current, const cv::v_uint8x16& previous) {
  return previous - cv::v_min(previous - current, cv::v_setall_u8(1)); // differences of bytes stop at 0
}

// The first and the second half of a vector's lanes, each in lanes of twice the width.
template <typename Wide, typename Narrow> std::array<Wide, 2> halves(const Narrow& lanes) {
  std::array<Wide, 2> result;
  cv::v_expand(lanes, result[0], result[1]);
  return result;
}

cv::v_int32x4 followChange(const cv::v_uint32x4& current, const cv::v_uint32x4& previous) {
  const cv::v_float32x4 current_part = cv::v_cvt_f32(cv::v_reinterpret_as_s32(current)) * cv::v_setall_f32(kCurrentWeight);
  const cv::v_float32x4 previous_part = cv::v_cvt_f32(cv::v_reinterpret_as_s32(previous)) * cv::v_setall_f32(kPreviousWeight);
  return cv::v_trunc(current_part + previous_part);
}

cv::v_int16x8 followChange(const cv::v_uint16x8& current, const cv::v_uint16x8& previous) {
  const auto c = halves<cv::v_uint32x4>(current);
  const auto p = halves<cv::v_uint32x4>(previous);
  return cv::v_pack(followChange(c[0], p[0]), followChange(c[1], p[1]));
}

cv::v_uint8x16 followChange(const cv::v_uint8x16& current, const cv::v_uint8x16& previous) {
  const auto c = halves<cv::v_uint16x8>(current);
  const auto p = halves<cv::v_uint16x8>(previous);
  return cv::v_pack_u(followChange(c[0], p[0]), followChange(c[1], p[1]));
}

// 16 pixels.
void smoothStep(std::uint8_t* current, const std::uint8_t* previous) {
  const std::uint64_t changed = neural::changedBits(current, previous);
  for (int byte = 0; byte < neural::kStepBytes; byte += neural::kVectorBytes) {
    const cv::v_uint8x16 now = cv::v_load(current + byte);
    const cv::v_uint8x16 before = cv::v_load(previous + byte);
    cv::v_uint8x16 smoothed;
    if (changed == 0) {
      smoothed = holdFlicker(now, before);
    } else {
      smoothed = followChange(now, before);
      if (changed != neural::kAllChanged) {
        smoothed = cv::v_select(neural::bytesOfBits(changed, byte), smoothed, holdFlicker(now, before));
      }
    }
    cv::v_store(current + byte, smoothed);
  }
}

#endif

} // namespace

void smoothOutput(cv::Mat& result, const cv::Mat& previous) {
  const int row_bytes = 3 * result.cols;
  for (int row = 0; row < result.rows; ++row) {
    std::uint8_t* current = result.ptr<std::uint8_t>(row);
    const std::uint8_t* before = previous.ptr<std::uint8_t>(row);
    int byte = 0;
#if CV_SIMD128
    for (; byte + neural::kStepBytes <= row_bytes; byte += neural::kStepBytes) {
      smoothStep(current + byte, before + byte);
    }
#endif
    for (; byte < row_bytes; byte += 3) {
      const bool changed = neural::pixelChanged(current + byte, before + byte);
      for (int channel = byte; channel < byte + 3; ++channel) {
        current[channel] =
            changed ? followChange(current[channel], before[channel]) : holdFlicker(current[channel], before[channel]);
      }
    }
  }
}

} // namespace vorin
