// Turns a network's output into a picture: three planes of floats, one after the other, become an 8-bit image of 3 channels in
// the planes' order, in a different way for each style.
//
// Idea: every step but the last works on one value at a time, so the planes are converted to bytes before they are merged, which
// moves a quarter of the memory. The bytes are the same as if the planes were merged first.
//
// In all functions: `planes` holds 3 x height x width floats, height and width at least 1, and is overwritten. `byte_planes` is
// working memory and `image` receives the result; both keep their allocation from frame to frame while the size stays.
#pragma once

#include <opencv2/core.hpp>

namespace vorin {

// Style transfer. First undoes the network's normalisation, in double precision: plane 0 x 0.225 + 0.406, plane 1 x
// 0.224 + 0.456, plane 2 x 0.229 + 0.485, each clamped to 0 and 1, NaN left alone. Then the smallest value of all becomes 0, the
// largest 255. Not-a-number becomes 0.
void transferOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image);

// Light grey: the smallest value of all becomes 0, the largest 255; three equal planes of one value become 0.
void lightGreyOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image);

// Cartoon: -1 becomes 0 and 1 becomes 255, and values beyond these are clamped.
void cartoonOutputToImage(float* planes, int height, int width, cv::Mat& byte_planes, cv::Mat& image);

} // namespace vorin
