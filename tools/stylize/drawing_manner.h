// drawing_manner.h: from the arguments to what the library is to do with a picture.
#pragma once

#include "arguments.h"
#include "model_package.h"
#include "stylizer.h"

namespace vorin::stylize {

// What the neural styles draw with.
struct NeuralTools {
  ModelPackage package;
  cv::Mat style_image_bgr;
};

const Network& networkFor(const Arguments& arguments, const Style& style);

// Of the style of the arguments.
NeuralTools toolsForStyle(const Arguments& arguments);

// tools: of a neural style; they have to live as long.
Manner mannerOf(const Arguments& arguments, const Style& style, const NeuralTools* tools);

} // namespace vorin::stylize
