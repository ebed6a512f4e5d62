// One style of the library, reached as hosts reach it, restyling frame after frame.
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
  // style_image_bgr: for the style that takes one. Throws where there is no GPU or no package of networks.
  StyleStream(const StyleCase& style, cv::Size size, const std::string& model_folder, const cv::Mat& style_image_bgr);

  // A result of the stream's size. The first of a stream is free of everything that the library remembers of earlier frames.
  // meanwhile: runs on another thread while the library restyles.
  cv::Mat restyle(const cv::Mat& frame_bgr, const std::function<void()>& meanwhile = {});

  // Milliseconds that the library, and what ran meanwhile, took for the last one.
  double elapsedMs() const { return elapsed_ms_; }

private:
  struct Destroyer {
    void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
  };

  std::unique_ptr<SttInterface, Destroyer> object_;
  VorinSttContext context_ = nullptr;
  cv::Size size_;
  cv::Mat style_image_; // empty once the library has taken it
  double elapsed_ms_ = 0;
};

} // namespace vorin::bench
