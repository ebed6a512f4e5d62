// The way of one frame: which engine serves the configured style, and what happens between the host's input and output frames.
//
// initPlugins chooses and sets up the engine of a style (style_dispatch.cpp); processFrame takes the frame through it and back
// into the host's pixel format (frame_processing.cpp). Every engine is a member and keeps what it loaded, so switching between
// styles and back sets up nothing twice. The choice is made by the style type alone and is not undone by a later one of the other
// family.
#pragma once

#include "gpufilters/gpu_filter_engine.h"
#include "pipeline/pixel_format.h"
#include "vorin_stt.h"

#include <opencv2/core.hpp>

#include <cstdint>

namespace vorin {

// What the pipeline reads of the host's configuration and device choice, afresh at each call.
struct StyleSettings {
  std::int32_t style_type = -1;
  std::int32_t style_index = -1;
  std::int32_t width = 0; // requested output size, pixels
  std::int32_t height = 0;
  std::int32_t device_kind = SttDeviceAnyGpu; // which OpenCL GPU the filters look for
};

class FramePipeline {
public:
  // Sets up the engine of the style. VORIN_STATUS_OK; VORIN_STATUS_FAILED when a network cannot be loaded;
  // VORIN_STATUS_UNKNOWN_TYPE for a style type other than 0 to 4. A filter whose OpenCL set-up fails is deliberately no failure:
  // its log lines and its frames show it.
  _VorinStatus initPlugins(const StyleSettings& settings);

  // Restyles one frame, as SttInterface::ProcessFrame says. Errors of the imaging library leave it as exceptions.
  _VorinStatus processFrame(const StyleSettings& settings, const SttFrame& input, const SttFrame* style_image, SttFrame& output);

private:
  // Runs the current filter engine on the frame and leaves the drawing at the requested size in result_.
  void runFilter(const StyleSettings& settings, const SttFrame& input);

  void resizeResult(std::int32_t width, std::int32_t height);

  gpufilters::GpuFilterEngine stippling_engine_;
  gpufilters::GpuFilterEngine pencil_sketch_engine_;
  gpufilters::GpuFilterEngine* current_filter_ = nullptr; // set by initPlugins, never cleared

  // Images kept from frame to frame, so that a steady stream of frames allocates nothing.
  PixelFormatBuffers format_buffers_;
  cv::Mat filter_input_;
  cv::Mat result_;
  cv::Mat resized_;
};

} // namespace vorin
