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

cv::v_int32x4 inSinglePrecision(const cv::v_uint32x4& current, const cv::v_uint32x4& previous) {
  const cv::v_float32x4 current_part = cv::v_cvt_f32(cv::v_reinterpret_as_s32(current)) * cv::v_setall_f32(kCurrentWeight);
  const cv::v_float32x4 previous_part = cv::v_cvt_f32(cv::v_reinterpret_as_s32(previous)) * cv::v_setall_f32(kPreviousWeight);
  return cv::v_trunc(current_part + previous_part);
}

cv::v_int16x8 inSinglePrecision(const cv::v_uint16x8& current, const cv::v_uint16x8& previous) {
  const auto c = halves<cv::v_uint32x4>(current);
  const auto p = halves<cv::v_uint32x4>(previous);
  return cv::v_pack(inSinglePrecision(c[0], p[0]), inSinglePrecision(c[1], p[1]));
}

// (4c + p) / 5 without its fraction. Single precision gives the same for all bytes but for some p > 4c: there the missing bit of
// the second weight, or a rounding, can take a whole sum to just below itself. True by trial.
cv::v_int16x8 inWholeNumbers(const cv::v_uint16x8& current, const cv::v_uint16x8& previous) {
  const cv::v_uint16x8 sum = cv::v_shl<2>(current) + previous;
  return cv::v_reinterpret_as_s16(cv::v_mul_hi(sum, cv::v_setall_u16(13108))); // 65536 / 5, rounded up: exact below 16384
}

// Whether any byte of 16 pixels is one for which whole numbers may be wrong.
bool needsSinglePrecision(const std::uint8_t* current, const std::uint8_t* previous) {
  cv::v_uint8x16 excess = cv::v_setzero_u8();
  for (int byte = 0; byte < neural::kStepBytes; byte += neural::kVectorBytes) {
    const cv::v_uint8x16 now = cv::v_load(current + byte);
    const cv::v_uint8x16 twice = now + now;                            // sums of bytes stop at 255,
    excess = excess | (cv::v_load(previous + byte) - (twice + twice)); // differences at 0
  }
  return cv::v_check_any(excess > cv::v_setzero_u8());
}

// Blends 16 pixels, not all of them unchanged; `follow` does it for 8 changed bytes.
template <typename Follow>
void followStep(std::uint8_t* current, const std::uint8_t* previous, std::uint64_t changed, Follow follow) {
  for (int byte = 0; byte < neural::kStepBytes; byte += neural::kVectorBytes) {
    const cv::v_uint8x16 now = cv::v_load(current + byte);
    const cv::v_uint8x16 before = cv::v_load(previous + byte);
    const auto c = halves<cv::v_uint16x8>(now);
    const auto p = halves<cv::v_uint16x8>(before);
    cv::v_uint8x16 smoothed = cv::v_pack_u(follow(c[0], p[0]), follow(c[1], p[1]));
    if (changed != neural::kAllChanged) {
      smoothed = cv::v_select(neural::bytesOfBits(changed, byte), smoothed, holdFlicker(now, before));
    }
    cv::v_store(current + byte, smoothed);
  }
}

// 16 pixels.
void smoothStep(std::uint8_t* current, const std::uint8_t* previous) {
  using Lanes = cv::v_uint16x8;
  const std::uint64_t changed = neural::changedBits(current, previous);
  if (changed == 0) {
    for (int byte = 0; byte < neural::kStepBytes; byte += neural::kVectorBytes) {
      cv::v_store(current + byte, holdFlicker(cv::v_load(current + byte), cv::v_load(previous + byte)));
    }
  } else if (needsSinglePrecision(current, previous)) {
    followStep(current, previous, changed, [](const Lanes& c, const Lanes& p) { return inSinglePrecision(c, p); });
  } else {
    followStep(current, previous, changed, [](const Lanes& c, const Lanes& p) { return inWholeNumbers(c, p); });
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
