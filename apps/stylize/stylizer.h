// stylizer.h: one style-transfer object of the library and what the program does with it.
#pragma once

#include "frame_conversion.h"
#include "model_package.h"
#include "styles.h"
#include "vorin_stt.h"

#include <opencv2/core/mat.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorin::stylize {

struct Gpu {
  SttDeviceKind kind;
  std::string name;
};

// How to draw a photo.
struct Manner {
  const Style* style = nullptr;
  const FrameFormat* format = nullptr;
  std::optional<cv::Size> size; // of the drawing, a frame size of the format; none: the photo's own
  // For the neural styles:
  const ModelPackage* package = nullptr;
  const Network* network = nullptr;
  cv::Mat style_image_bgr; // for a style that takes one
};

struct Drawing {
  cv::Mat bgr;
  double elapsed_ms = 0; // the library's work on this one frame
  double load_ms = 0;    // and on the network before; 0 for a filter, and for a network that was loaded already
  cv::Size network_size; // of a network that takes any size
};

// Every failure of the library, status or exception, comes out as a Failure.
class Stylizer {
public:
  Stylizer();

  SttVersion version();
  std::vector<Gpu> gpus();
  void selectGpu(SttDeviceKind kind); // SttDeviceIntegratedGpu, SttDeviceDiscreteGpu or SttDeviceAnyGpu

  // Whether the filter draws on the selected GPU. The library does not report a filter whose set-up failed, so a built-in picture
  // is drawn and looked at.
  bool prepareFilter(const Style& style);

  // Draws a photo with the filter prepared last.
  Drawing drawFiltered(const cv::Mat& photo_bgr, const Manner& manner);

  // Whether drawNeural would draw the photo as an object of its own would. A loaded network keeps its size, and style transfer
  // blends each frame with the one before.
  bool isFreeFor(const cv::Mat& photo_bgr, const Manner& manner) const;

  // Draws a photo in a neural style, with the network that is loaded already where it is the same.
  Drawing drawNeural(const cv::Mat& photo_bgr, const Manner& manner);

  // Frames of a clip, one after the other, drawn with the filter prepared last or with the network that beginClip loads. size: of
  // the drawings. Once in the life of an object, with nothing drawn before.
  void beginClip(const Manner& manner, cv::Size size);
  void drawClipFrame(const SttFrame& input, SttFrame& output);

private:
  struct Destroyer {
    void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
  };

  void setConfig(SttConfigKey key, int32_t value);
  double loadNetwork(const Manner& manner, cv::Size network_size); // the elapsed milliseconds
  void setSize(cv::Size size);
  Drawing drawGuarded(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size);
  Drawing drawFrame(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size, const Frame* style_image);
  double process(const Frame& input, const Frame* style_image, Frame& output); // the elapsed milliseconds

  std::unique_ptr<SttInterface, Destroyer> object_;
  VorinSttContext context_ = nullptr;
  const Network* loaded_network_ = nullptr;
  cv::Size loaded_size_;
  std::optional<Frame> next_style_image_; // of a clip: for the next frame, which keeps its look
};

} // namespace vorin::stylize
