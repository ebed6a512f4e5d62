// stylizer.h: one style-transfer object of the library and what the program does with it.
#pragma once

#include "frame_conversion.h"
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

struct Drawing {
  cv::Mat bgr;
  double elapsed_ms; // the library's work on this one frame
};

// Every failure of the library, status or exception, comes out as a Failure.
class Stylizer {
public:
  Stylizer();

  SttVersion version();
  std::vector<Gpu> gpus();
  void selectGpu(SttDeviceKind kind); // SttDeviceIntegratedGpu, SttDeviceDiscreteGpu or SttDeviceAnyGpu

  // Whether the style draws on the selected GPU. The library does not report a filter whose set-up failed, so a built-in picture
  // is drawn and looked at.
  bool prepare(const Style& style);

  // Draws a photo in the style prepared last. size: of the drawing, a frame size of the format; none: the photo's own.
  Drawing draw(const cv::Mat& photo_bgr, const FrameFormat& format, std::optional<cv::Size> size);

private:
  struct Destroyer {
    void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
  };

  void setConfig(SttConfigKey key, int32_t value);
  Drawing drawFrame(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size);
  double process(const Frame& input, Frame& output); // the elapsed milliseconds

  std::unique_ptr<SttInterface, Destroyer> object_;
  VorinSttContext context_ = nullptr;
};

} // namespace vorin::stylize
