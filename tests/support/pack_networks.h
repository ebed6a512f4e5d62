// Small networks for the tests of the packer: as OpenVINO IR by its text, and as ONNX by the bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorin::tests {

struct NetworkInput {
  std::vector<std::string> names;
  std::string shape; // "1,3,?,?", or "..." for any
  std::string type = "f32";
  std::string layout = {}; // as the network declares it, such as "[N,H,W,C]"
};

struct NetworkRecipe {
  std::vector<NetworkInput> inputs;
  std::vector<std::int64_t> output_shape = {}; // as the network's own Reshape wants it; empty: the first input's
  std::size_t outputs = 1;
  float weight = 0.5F;
};

// Writes the network as NAME.xml and NAME.bin for a file NAME.xml: the first input times a weight, plus the mean of each further
// one.
void saveNetwork(const NetworkRecipe& recipe, const std::string& file);

// What the catalogue's styles want: one input of any size; a frame and a style image of fixed sizes.
NetworkRecipe fixedStyleRecipe(float weight = 0.5F);
NetworkRecipe transferRecipe(float weight = 0.5F);

// An ONNX file of version 8, operators of version 13: input "frame" [1, 3, h, w] times three weights, output "picture".
std::string onnxBytes();

// The three weights as the 12 bytes that such a file holds.
std::string onnxWeights();

} // namespace vorin::tests
