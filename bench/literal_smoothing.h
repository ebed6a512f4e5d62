// Both temporal smoothings written plainly: one loop over the pixels, one statement for each step of the definition. The
// benchmarks compare them with the library's, compiled with the same options.
#pragma once

#include <opencv2/core.hpp>

namespace vorin::bench {

// Computes what neural::smoothContent does.
void literalContentSmoothing(cv::Mat& image, const cv::Mat& previous);

// Computes what smoothOutput does.
void literalOutputSmoothing(cv::Mat& result, const cv::Mat& previous);

} // namespace vorin::bench
