// Normalises a style image for a style-transfer network: planar floats without the mean and the deviation of the pictures that
// such networks are trained on (ImageNet's, scaled to bytes).
//
// Idea: a byte has 256 values, so each channel's results, computed in double precision, are a table made by the compiler.
#pragma once

#include <opencv2/core.hpp>

namespace vorin::neural {

// Writes an 8-bit image of 3 channels as three planes of rows x columns floats, one behind the other and each row after row:
// (byte 0 - 103.53) / 57.375, (byte 1 - 116.28) / 57.12, (byte 2 - 123.675) / 58.395. The image's rows may be padded.
void normaliseStyle(const cv::Mat& bgr, float* planes);

} // namespace vorin::neural
