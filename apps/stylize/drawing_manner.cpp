#include "drawing_manner.h"

#include "image_file.h"
#include "utf8_path.h"

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

std::optional<NeuralTools> toolsForStyle(const Arguments& arguments) {
  if (!arguments.style->isNeural()) {
    return std::nullopt;
  }
  ModelPackage package(arguments.models);
  package.requireNetwork(*arguments.style, networkFor(arguments, *arguments.style));
  const bool is_picture = arguments.style_image && !std::filesystem::is_directory(*arguments.style_image);
  return NeuralTools{package, is_picture ? readPicture(*arguments.style_image) : cv::Mat()};
}

std::string Headline::text() const {
  std::string text = "style " + style + ", ";
  text += network.empty() ? "no network" : "network " + network + " of '" + package + "'";
  return text + ", " + device + ": " + reason;
}

Headline headlineOf(const Manner& manner, const ChosenDevice& device) {
  Headline headline = {std::string(manner.style->name), {}, {}, device.name(), device.reason()};
  if (manner.network != nullptr) {
    headline.network = manner.network->entry;
    headline.package = base::utf8Text(manner.package->file());
  }
  return headline;
}

} // namespace vorin::stylize
