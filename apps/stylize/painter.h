// painter.h: all that is needed to draw the photos of a run, made once: package, style image, device, look.
#pragma once

#include "arguments.h"
#include "device_choice.h"
#include "drawing_manner.h"

namespace vorin::stylize {

class Painter {
public:
  // Fails, or starts the program again, before anything is drawn.
  Painter(const Arguments& arguments, std::optional<NeuralTools> tools);

  // Before the first photo in the style, with the same ends.
  void prepare(const Style& style) { device_.prepare(style); }

  Headline
  headline() const; // of the style of the arguments; of a sheet of all styles, which have none: without style and network

  Drawing paint(const cv::Mat& photo_bgr) { return paint(photo_bgr, *arguments_.style); }
  Drawing paint(const cv::Mat& photo_bgr, const Style& style);

  void setStyleImage(const cv::Mat& style_image_bgr) { tools_->style_image_bgr = style_image_bgr; }

  // The drawing as the user gets told about it: "640x480, pencil, 3.1 ms per frame".
  std::string report(const Style& style, const Drawing& drawing) const;

  const ChosenDevice& device() const { return device_; }

private:
  Manner manner(const Style& style) const { return mannerOf(arguments_, style, tools_ ? &*tools_ : nullptr); }

  const Arguments& arguments_;
  std::optional<NeuralTools> tools_;
  ChosenDevice device_;
};

} // namespace vorin::stylize
