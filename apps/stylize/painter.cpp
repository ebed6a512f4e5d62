#include "painter.h"

#include "picture_size.h"
#include "utf8_path.h"

#include <iomanip>
#include <sstream>
#include <utility>

namespace vorin::stylize {
namespace {

// The network at work: "network 512", or for one that takes any size "network 640x480".
std::string networkText(const Network& network, const Drawing& drawing) {
  return "network " + (network.name.empty() ? sizeText(drawing.network_size) : std::string(network.name));
}

} // namespace

Painter::Painter(const Arguments& arguments, std::optional<NeuralTools> tools)
    : arguments_(arguments), tools_(std::move(tools)), device_(arguments.device) {}

Headline Painter::headline() const {
  if (arguments_.style == nullptr) {
    return {{}, {}, tools_ ? base::utf8Text(tools_->package.file()) : std::string(), device_.name(), device_.reason()};
  }
  return headlineOf(manner(*arguments_.style), device_);
}

Drawing Painter::paint(const cv::Mat& photo_bgr, const Style& style) {
  Drawing drawing = device_.draw(photo_bgr, manner(style));
  applyLook(arguments_.look, photo_bgr, drawing.bgr);
  return drawing;
}

std::string Painter::report(const Style& style, const Drawing& drawing) const {
  std::ostringstream text;
  text << sizeText(drawing.bgr.size()) << ", " << style.name << std::fixed << std::setprecision(1);
  if (style.isNeural()) {
    text << ", " << networkText(networkFor(arguments_, style), drawing);
  }
  text << ", " << drawing.elapsed_ms << " ms per frame";
  if (drawing.load_ms > 0) {
    text << ", loaded in " << drawing.load_ms << " ms";
  }
  return text.str();
}

} // namespace vorin::stylize
