// Takes a frame from the host's input to its output: chooses the engine of the configured style, runs it, and converts pixels.
//
// initPlugins chooses and sets up the engine of a style (style_dispatch.cpp); processFrame takes the frame through it and back
// into the host's pixel format (frame_processing.cpp, with the neural styles' part in neural_frame.cpp). Every engine is a member
// and keeps what it loaded, so switching between styles and back sets up nothing twice. The choice is made by the style type
// alone and is not undone by a later one of the other family.
#pragma once

#include "gpufilters/gpu_filter_engine.h"
#include "neural/neural_engine.h"
#include "neural/style_catalogue.h"
#include "pipeline/pixel_format.h"
#include "vorin_stt.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <string>

namespace vorin {

// The parts of the host's configuration and device choice that the pipeline reads at each call.
struct StyleSettings {
  std::int32_t style_type = -1;
  std::int32_t style_index = -1;
  std::int32_t width = 0; // requested output size, pixels
  std::int32_t height = 0;
  std::string model_folder;
  std::string device_name = "GPU";            // the device of the inference runtime for which networks are compiled
  std::int32_t device_kind = SttDeviceAnyGpu; // the kind of OpenCL GPU that the filters search for
};

class FramePipeline {
public:
  // Sets up the engine of the style. VORIN_STATUS_OK; VORIN_STATUS_FAILED when a network cannot be loaded;
  // VORIN_STATUS_UNKNOWN_TYPE for a style type other than 0 to 4. A filter whose OpenCL set-up fails is deliberately not a
  // failure: the log and its frames show it.
  _VorinStatus initPlugins(const StyleSettings& settings);

  // Restyles one frame, as SttInterface::ProcessFrame says. Throws the exceptions of OpenCV and of the inference runtime, and
  // std::logic_error if no style of the configured one's family was prepared.
  _VorinStatus processFrame(const StyleSettings& settings, const SttFrame& input, const SttFrame* style_image, SttFrame& output);

  // Has the style transfer's next frame smoothed against none.
  void forgetFrames() noexcept;

  // Of the filter prepared last; 0 if none was.
  std::int32_t workGroupEdge() const noexcept { return current_filter_ != nullptr ? current_filter_->workGroupEdge() : 0; }

private:
  _VorinStatus initNeural(const StyleSettings& settings, std::size_t catalogue_row);
  void initFilter(const StyleSettings& settings, gpufilters::GpuFilterEngine& engine);

  // Each runs the current engine on the frame and returns its picture at the output size, in memory that the next frame
  // overwrites.
  _VorinStatus runTransfer(const StyleSettings& settings, const SttFrame& input, const SttFrame* style_image, cv::Mat& picture);
  cv::Mat runFixedStyle(const StyleSettings& settings, const SttFrame& input);
  cv::Mat runFilter(const StyleSettings& settings, const SttFrame& input);

  // Runs one frame through the current network; empty after any failure, which the log reports.
  ov::Tensor inferFrame(const SttFrame& input);

  // The engine's result at a size. Throws OpenCV's exceptions, such as for a size of 0.
  cv::Mat resultAtSize(std::int32_t width, std::int32_t height);

  // An object destroys these from the last to the first: images, then the filters' engines, then those of the networks.
  std::array<neural::NeuralEngine, neural::kCatalogue.size()> neural_engines_; // by catalogue row
  neural::NeuralEngine* current_network_ = nullptr;                            // set by initPlugins, never cleared
  gpufilters::GpuFilterEngine stippling_engine_;
  gpufilters::GpuFilterEngine pencil_sketch_engine_;
  gpufilters::GpuFilterEngine* current_filter_ = nullptr; // set by initPlugins, never cleared

  std::int64_t inferred_frames_ = 0;
  cv::Mat previous_output_; // style type 0: the network's last picture, smoothed; survives every change of style

  // Images kept from frame to frame, so that frames need not allocate them again.
  PixelFormatBuffers format_buffers_;
  cv::Mat byte_planes_;
  cv::Mat filter_input_;
  cv::Mat result_;
  cv::Mat resized_;
};

} // namespace vorin
