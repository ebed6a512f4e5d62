// The neural styles as the benchmarks run them: a pipeline with the trained network of the demo package, and beside it the same
// network compiled by the benchmark itself, with the same conversions, without the library around it.
#pragma once

#include "pipeline/frame_pipeline.h"

#include <openvino/runtime/infer_request.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace vorin::bench {

struct NeuralCase {
  std::int32_t style_type;
  std::int32_t style_index;
  std::int32_t output_width; // pixels
  std::int32_t output_height;
};

StyleSettings settingsOf(const NeuralCase& neural_case);

// The demo package's folder, which also holds the networks; empty if it was not built.
std::string modelFolder();

// Empties the library's cache of compiled networks for this program.
void removeNetworkCache();

// Whether the device named "GPU" computes in bf16.
bool computesInBf16();

// The network of a case with a picture in place of the frame; `picture` stays in use by the request. The case's width and height
// are the network's size except for style type 0, whose network has its own.
class BareNetwork {
public:
  explicit BareNetwork(const NeuralCase& neural_case);

  void infer() { request_.infer(); }

private:
  ov::InferRequest request_;
  std::vector<std::uint8_t> content_;
  std::vector<float> style_;
};

// Wraps the pixels in a packed BGRA frame.
SttFrame bgraFrame(std::uint8_t* pixels, int width, int height);

} // namespace vorin::bench
