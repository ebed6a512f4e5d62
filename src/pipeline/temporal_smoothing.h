// Temporal smoothing of a style-transfer network's output: a pixel that changed little flickers, so it keeps nearly its old
// value; a pixel that really changed moves four fifths of the way to its new value.
#pragma once

#include <opencv2/core.hpp>

namespace vorin {

// Blends each pixel of `result` with the previous output. With c and p the two bytes of a channel, in single precision and cut to
// a byte: where any of the pixel's three bytes differs by 10 or more, c x 0.8 + p x (1 - 0.8); elsewhere p x (1 - w) + c x w,
// where w is the sum of the three differences / 765. Both images 8-bit, 3 channels, of one size; their rows may be padded.
void smoothOutput(cv::Mat& result, const cv::Mat& previous);

} // namespace vorin
