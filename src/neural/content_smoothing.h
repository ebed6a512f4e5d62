// Temporal smoothing of the input of a style-transfer network: suppresses camera noise, which the network would turn into a
// flicker of whole brush strokes. The comparison is with the smoothed frame before, so the smoothing feeds back on itself.
#pragma once

#include <opencv2/core.hpp>

namespace vorin::neural {

// Where all three bytes of a pixel differ by less than 10 from the previous image's, replaces each by
// trunc(0.1 x current + 0.9 x previous), computed in double precision; other pixels stay. Both images 8-bit, 3 channels, of one
// size; their rows may be padded.
void smoothContent(cv::Mat& image, const cv::Mat& previous);

} // namespace vorin::neural
