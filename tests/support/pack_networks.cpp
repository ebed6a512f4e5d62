#include "support/pack_networks.h"

#include "support/ir_network.h"
#include "support/package_bytes.h"

#include <array>
#include <cstring>

namespace vorin::tests {
namespace {

using Value = IrNetwork::Value;
using Integers = std::vector<std::int64_t>;

// Over all dimensions, however many there are.
Value meanOf(IrNetwork& network, Value value) {
  const Value shape = network.operation("ShapeOf", {value}, "output_type=\"i64\"", 3);
  const Value rank = network.operation("ShapeOf", {shape}, "output_type=\"i64\"", 3);
  const Value zero = network.constant("", Integers{0});
  const Value end = network.operation("Squeeze", {rank, zero});
  const Value axes = network.operation("Range", {zero, end, network.constant("", Integers{1})}, "output_type=\"i64\"", 4);
  return network.operation("ReduceMean", {value, axes}, "keep_dims=\"false\"");
}

// ---- the few parts of the protocol-buffer encoding that ONNX needs ----

std::string varint(std::uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7U) {
    bytes += static_cast<char>(0x80U | (value & 0x7FU));
  }
  return bytes + static_cast<char>(value);
}

std::string number(unsigned field, std::uint64_t value) {
  return varint(field << 3U) + varint(value);
}

std::string bytes(unsigned field, const std::string& content) {
  return varint(field << 3U | 2U) + varint(content.size()) + content;
}

std::string onnxValue(const std::string& name) {
  const std::string shape = bytes(1, number(1, 1)) + bytes(1, number(1, 3)) + bytes(1, bytes(2, "h")) + bytes(1, bytes(2, "w"));
  const std::string tensor_type = number(1, 1) + bytes(2, shape); // element type 1: float
  return bytes(1, name) + bytes(2, bytes(1, tensor_type));
}

} // namespace

void saveNetwork(const NetworkRecipe& recipe, const std::string& file) {
  IrNetwork network;
  std::vector<Value> inputs;
  for (const NetworkInput& input : recipe.inputs) {
    inputs.push_back(network.input(input.names, input.shape, input.type, input.layout));
  }
  const auto asFloat = [&](Value input) { return network.operation("Convert", {input}, "destination_type=\"f32\""); };
  const Value weight = network.constant("1", std::vector<float>{recipe.weight});
  Value value = network.operation("Multiply", {asFloat(inputs.front()), weight});
  for (std::size_t further = 1; further < inputs.size(); ++further) {
    value = network.operation("Add", {value, meanOf(network, asFloat(inputs[further]))});
  }
  if (!recipe.output_shape.empty()) {
    const Value shape = network.constant(std::to_string(recipe.output_shape.size()), recipe.output_shape);
    value = network.operation("Reshape", {value, shape}, "special_zero=\"false\"");
  }
  for (std::size_t output = 0; output < recipe.outputs; ++output) {
    network.output(network.operation("ReLU", {value}));
  }
  writeFile(file, network.description());
  writeFile(file.substr(0, file.rfind('.')) + ".bin", network.weights());
}

NetworkRecipe fixedStyleRecipe(float weight) {
  NetworkRecipe recipe;
  recipe.inputs = {{{"frame"}, "1,3,?,?"}};
  recipe.weight = weight;
  return recipe;
}

NetworkRecipe transferRecipe(float weight) {
  NetworkRecipe recipe;
  recipe.inputs = {{{"input_content"}, "1,3,24,40"}, {{"input_style"}, "1,3,16,16"}};
  recipe.weight = weight;
  return recipe;
}

std::string onnxBytes(const std::string& weights) {
  const std::string shape = number(1, 1) + number(1, 3) + number(1, 1) + number(1, 1);
  const std::string tensor = shape + number(2, 1) + bytes(8, "weights") + bytes(9, weights);
  const std::string node = bytes(1, "frame") + bytes(1, "weights") + bytes(2, "picture") + bytes(4, "Mul");
  const std::string graph =
      bytes(1, node) + bytes(2, "graph") + bytes(5, tensor) + bytes(11, onnxValue("frame")) + bytes(12, onnxValue("picture"));
  return number(1, 8) + bytes(7, graph) + bytes(8, number(2, 13)); // ONNX's file version 8, operators of version 13
}

std::string onnxWeights() {
  const std::array<float, 3> weights = {0.1F, 0.2F, 0.3F}; // half precision knows none of them
  std::string content(sizeof weights, '\0');
  std::memcpy(content.data(), weights.data(), content.size());
  return content;
}

} // namespace vorin::tests
