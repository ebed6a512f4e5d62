// drawing_manner.h: from the arguments to what the library is to do with a picture.
#pragma once

#include "arguments.h"
#include "device_choice.h"
#include "model_package.h"
#include "stylizer.h"

#include <string>

namespace vorin::stylize {

// What the neural styles draw with.
struct NeuralTools {
  ModelPackage package;
  cv::Mat style_image_bgr;
};

const Network& networkFor(const Arguments& arguments, const Style& style);

// Of the style of the arguments. A style image that is a folder of them is left out.
// For a filter: nothing.
std::optional<NeuralTools> toolsForStyle(const Arguments& arguments);

// tools: of a neural style; they have to live as long.
Manner mannerOf(const Arguments& arguments, const Style& style, const NeuralTools* tools);

// What the user gets told first: how and where it is drawn, and why there.
struct Headline {
  std::string style;
  std::string network; // its entry in the package, without the file ending; empty for a filter
  std::string package; // that it is from; or empty
  std::string device;
  std::string reason; // for the device

  std::string text() const;
};
Headline headlineOf(const Manner& manner, const ChosenDevice& device);

} // namespace vorin::stylize
