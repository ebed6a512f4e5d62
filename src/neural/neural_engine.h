// NeuralEngine: loads and runs one network of the catalogue. There is one engine for each row of the catalogue, and a loaded
// network is kept as long as the engine.
//
//   load            unpacks the network, fixes its size, puts the conversion from 8-bit blue-green-red frames in front of it,
//                   compiles it, and deletes the unpacked files (network_loading.cpp)
//   bindStyleImage  style type 0: makes an image the second input of all frames that follow (style_image_input.cpp)
//   infer           runs one frame (neural_inference.cpp)
//
// The networks of style type 0 get the mean and deviation of their training data in red, green, blue order on blue, green, red
// channels, while the style image gets them matched to its colours. The mismatch is deliberate: a network for this library has to
// be made for it.
#pragma once

#include "modelpack/unpacked_files.h"
#include "vorin_stt.h"

#include <opencv2/core.hpp>
#include <openvino/core/model.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/infer_request.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vorin::neural {

class NeuralEngine {
public:
  NeuralEngine() = default;
  NeuralEngine(const NeuralEngine&) = delete;
  NeuralEngine& operator=(const NeuralEngine&) = delete;

  // What load returns besides VORIN_STATUS_OK, VORIN_STATUS_INVALID_PARAM (a network of other than one or two inputs),
  // VORIN_STATUS_FAILED (something was thrown), VORIN_STATUS_PATH_NOT_FOUND (no writable package folder) and
  // VORIN_STATUS_UNKNOWN_TYPE.
  static constexpr auto kExtractionFailed = VORIN_STATUS_UNSUPPORTED;

  // Loads the network of a style for the named device of the inference runtime, from the package in `package_folder`. The
  // networks of style types 1 and 2 are reshaped to width x height pixels, at most 1920 x 1080, unless one of the two is 0. A
  // network that is loaded already is kept, whatever the arguments. After a failure the next call starts from the beginning;
  // unpacked files stay on disk until a later load succeeds. When the network cannot be compiled in five attempts, loading still
  // succeeds, and infer fails. Throws nothing.
  _VorinStatus load(const std::string& device_name, std::int32_t style_type, std::int32_t style_index, std::int32_t width,
                    std::int32_t height, const std::string& package_folder);

  // Makes the image the look of all frames that follow. VORIN_STATUS_INVALID_PARAM when the engine's style type is not 0. The
  // image is read during the call only, its rows as packed. Throws the exceptions of OpenCV and of the runtime.
  _VorinStatus bindStyleImage(const SttFrame& style_image);

  // Runs the network on an 8-bit blue-green-red image of any size and returns its output, float32, [1, channels, height, width],
  // which shares the request's memory and is valid until the next call. An image of the network's own size is not copied: the
  // smoothing of style type 0 and the black last column of style type 2 are then written into its pixels. Throws the
  // exceptions of OpenCV and of the runtime, also if the engine has loaded nothing.
  ov::Tensor infer(cv::Mat image);

  // Has the next frame smoothed against none.
  void forgetFrames() noexcept { previous_frame_.release(); }

  // The size of the network's frames; empty until a network is read.
  cv::Size frameSize() const { return {network_width_, network_height_}; }

private:
  _VorinStatus unpackNetwork(const std::string& network_name, const std::string& package_folder, std::string& network_path);
  _VorinStatus loadUnpacked(ov::Core& core, const std::string& device_name, const std::string& network_path);
  void readInputs(const ov::Model& model);
  std::shared_ptr<ov::Model> addConversions(const std::shared_ptr<ov::Model>& model) const;
  void compile(ov::Core& core, const std::shared_ptr<ov::Model>& model, const std::string& device_name);

  cv::Size styleSize() const;
  // The size of the pictures of a network's input, [1, 3, height, width]. Throws std::runtime_error for any other shape, and for
  // more values than an int counts.
  static cv::Size pictureSize(const ov::Shape& input);

  bool initialised_ = false;
  std::int32_t style_type_ = -1;
  std::int32_t style_index_ = -1;
  std::int32_t requested_width_ = 0;
  std::int32_t requested_height_ = 0;

  ov::InferRequest request_; // empty until the network is compiled
  std::vector<ov::Output<ov::Node>> inputs_;
  std::int32_t network_width_ = 0;
  std::int32_t network_height_ = 0;
  std::size_t content_input_index_ = 0; // style type 0 only, as the next
  std::size_t style_input_index_ = 0;
  modelpack::UnpackedFiles unpackedFiles_;

  std::unique_ptr<float[]> style_planes_; // blue, green, red; bound to the request, so never moved once it is there
  cv::Mat style_converted_;               // a working image, kept from call to call
  cv::Mat style_resized_;
  cv::Mat resized_;
  cv::Mat previous_frame_; // style type 0: the last frame as the network got it
};

} // namespace vorin::neural
