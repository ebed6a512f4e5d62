// The pixel passes around a network written plainly: one loop over the pixels, one statement a step of the definition. The other
// side of their ratios, compiled with the same options as the library, and the bytes that it must deliver.
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace vorin::bench {

// As neural::smoothContent.
void literalContentSmoothing(cv::Mat& image, const cv::Mat& previous);

// As smoothOutput.
void literalOutputSmoothing(cv::Mat& result, const cv::Mat& previous);

// As transferOutputToImage; `merged` is working memory.
void literalTransferOutput(float* planes, int height, int width, std::vector<float>& merged, cv::Mat& image);

} // namespace vorin::bench
