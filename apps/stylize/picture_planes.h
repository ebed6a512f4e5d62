// picture_planes.h: a clip's picture as images over its own bytes, without a copy.
//
// OpenCV has no type for read-only pixels: what comes out of a const picture is to be read only.
#pragma once

#include "frames.h"
#include "look.h"

#include <opencv2/core/mat.hpp>

namespace vorin::stylize {

Nv12Planes planesOf(const media::Picture& picture); // of NV12

cv::Mat bgraPixelsOf(const media::Picture& picture); // of BGRA

} // namespace vorin::stylize
