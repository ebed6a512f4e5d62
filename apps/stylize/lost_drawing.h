// lost_drawing.h: whether a drawing shows anything of its photo.
//
// A network that is broken, or whose numbers overflow on the device, and a filter on a device that lost it, give one colour for
// whatever they see. That is lost unless the photo was nearly of one colour itself.
#pragma once

#include <opencv2/core/mat.hpp>

namespace vorin::stylize {

// Quick for any real drawing, whose pixels soon differ.
bool isOneColour(const cv::Mat& picture);

// Both with 8 bits a channel, of any size; a fourth channel of the photo is not looked at.
bool isLostDrawing(const cv::Mat& photo, const cv::Mat& drawing);

} // namespace vorin::stylize
