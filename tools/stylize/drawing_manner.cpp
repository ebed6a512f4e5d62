#include "drawing_manner.h"

#include "image_file.h"

namespace vorin::stylize {

const Network& networkFor(const Arguments& arguments, const Style& style) {
  return style.takesStyleImage() && arguments.network != nullptr ? *arguments.network : style.networks.front();
}

Manner mannerOf(const Arguments& arguments, const Style& style, const NeuralTools* tools) {
  Manner manner;
  manner.style = &style;
  manner.format = arguments.format;
  manner.size = arguments.size;
  if (style.isNeural()) {
    manner.package = &tools->package;
    manner.network = &networkFor(arguments, style);
    manner.style_image_bgr = tools->style_image_bgr;
  }
  return manner;
}

NeuralTools toolsForStyle(const Arguments& arguments) {
  ModelPackage package(arguments.models);
  package.requireNetwork(*arguments.style, networkFor(arguments, *arguments.style));
  return {package, arguments.style_image ? readPicture(*arguments.style_image) : cv::Mat()};
}

} // namespace vorin::stylize
