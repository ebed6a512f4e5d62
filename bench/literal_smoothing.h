// Both temporal smoothings written plainly: one loop over the pixels, one statement a step of the definition. The other side of
// the library's, compiled with the same options.
#pragma once

#include <opencv2/core.hpp>

namespace vorin::bench {

// As neural::smoothContent.
void literalContentSmoothing(cv::Mat& image, const cv::Mat& previous);

// As smoothOutput.
void literalOutputSmoothing(cv::Mat& result, const cv::Mat& previous);

} // namespace vorin::bench
