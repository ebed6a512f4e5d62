#include "neural/content_smoothing.h"

#include "neural/changed_pixels.h"

namespace vorin::neural {
namespace {

// 0.1 x current + 0.9 x previous lies less than 1 from `previous` when the two differ by less than 10, and so is cut to
// `previous` or, below it, to one less. Of two equal bytes the sum, rounded, is not below the byte: true for all 256, by trial.
std::uint8_t smoothed(std::uint8_t current, std::uint8_t previous) {
  return static_cast<std::uint8_t>(current < previous ? previous - 1 : previous);
}

#if CV_SIMD128

// 16 pixels.
void smoothStep(std::uint8_t* current, const std::uint8_t* previous) {
  const std::uint64_t changed = changedBits(current, previous);
  if (changed == kAllChanged) {
    return;
  }
  for (int byte = 0; byte < kStepBytes; byte += kVectorBytes) {
    const cv::v_uint8x16 now = cv::v_load(current + byte);
    const cv::v_uint8x16 before = cv::v_load(previous + byte);
    const cv::v_uint8x16 held = before - cv::v_min(before - now, cv::v_setall_u8(1)); // differences of bytes stop at 0
    cv::v_store(current + byte, changed == 0 ? held : cv::v_select(bytesOfBits(changed, byte), now, held));
  }
}

#endif

} // namespace

void smoothContent(cv::Mat& image, const cv::Mat& previous) {
  const int row_bytes = 3 * image.cols;
  for (int row = 0; row < image.rows; ++row) {
    std::uint8_t* current = image.ptr<std::uint8_t>(row);
    const std::uint8_t* before = previous.ptr<std::uint8_t>(row);
    int byte = 0;
#if CV_SIMD128
    for (; byte + kStepBytes <= row_bytes; byte += kStepBytes) {
      smoothStep(current + byte, before + byte);
    }
#endif
    for (; byte < row_bytes; byte += 3) {
      if (!pixelChanged(current + byte, before + byte)) {
        for (int channel = byte; channel < byte + 3; ++channel) {
          current[channel] = smoothed(current[channel], before[channel]);
        }
      }
    }
  }
}

} // namespace vorin::neural
