// Restyles frame after frame in one style of the library, through its public interface.
#pragma once

#include "vorin_stt.h"

#include <opencv2/core.hpp>

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace vorin::bench {

struct StyleCase {
  const char* name;
  SttStyleType type;
  int32_t index;
};

inline constexpr std::array kStyleCases = {
    StyleCase{"transfer", SttStyleTransfer, 2},
    StyleCase{"light grey", SttStyleLightGrey, 0},
    StyleCase{"cartoon", SttStyleCartoon, 0},
    StyleCase{"stippling", SttStyleStippling, 0},
    StyleCase{"pencil sketch", SttStylePencilSketch, 0},
};

class StyleStream {
public:
  // style_image_bgr: for style transfer. Throws if there is no GPU or no package of networks.
  StyleStream(const StyleCase& style, cv::Size size, const std::string& model_folder, const cv::Mat& style_image_bgr);

  // Returns a result of the stream's size. The first of a stream does not depend on earlier frames. meanwhile: runs on another
  // thread while the library restyles.
  cv::Mat restyle(const cv::Mat& frame_bgr, const std::function<void()>& meanwhile = {});

  // The time of the last frame in milliseconds, including `meanwhile`.
  double elapsedMs() const { return elapsed_ms_; }

private:
  struct Destroyer {
    void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
  };

  std::unique_ptr<SttInterface, Destroyer> object_;
  VorinSttContext context_ = nullptr;
  cv::Size size_;
  cv::Mat style_image_; // empty once the library has it
  double elapsed_ms_ = 0;
};

} // namespace vorin::bench
