#include "support/pack_networks.h"

#include <openvino/core/graph_util.hpp>
#include <openvino/opsets/opset8.hpp>

#include <array>
#include <cstring>
#include <memory>

namespace vorin::tests {
namespace {

namespace op = ov::opset8;

ov::Output<ov::Node> meanOf(const ov::Output<ov::Node>& value) {
  const auto rank = std::make_shared<op::ShapeOf>(std::make_shared<op::ShapeOf>(value));
  const auto zero = op::Constant::create(ov::element::i64, {}, {0});
  const auto one = op::Constant::create(ov::element::i64, {}, {1});
  const auto end = std::make_shared<op::Squeeze>(rank, zero);
  const auto axes = std::make_shared<op::Range>(zero, end, one, ov::element::i64);
  return std::make_shared<op::ReduceMean>(value, axes, false);
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

std::shared_ptr<ov::Model> makeNetwork(const NetworkRecipe& recipe) {
  ov::ParameterVector parameters;
  ov::Output<ov::Node> value;
  for (const NetworkInput& input : recipe.inputs) {
    const auto parameter = std::make_shared<op::Parameter>(input.type, input.shape);
    parameter->output(0).set_names({input.names.begin(), input.names.end()});
    if (!input.layout.empty()) {
      parameter->set_layout(ov::Layout(input.layout));
    }
    parameters.push_back(parameter);
    const auto as_float = std::make_shared<op::Convert>(parameter, ov::element::f32);
    if (parameters.size() == 1) {
      value = std::make_shared<op::Multiply>(as_float, op::Constant::create(ov::element::f32, {1}, {recipe.weight}));
    } else {
      value = std::make_shared<op::Add>(value, meanOf(as_float));
    }
  }
  if (!recipe.output_shape.empty()) {
    const auto shape = op::Constant::create(ov::element::i64, {recipe.output_shape.size()}, recipe.output_shape);
    value = std::make_shared<op::Reshape>(value, shape, false);
  }
  ov::ResultVector results;
  for (std::size_t output = 0; output < recipe.outputs; ++output) {
    results.push_back(std::make_shared<op::Result>(std::make_shared<op::Relu>(value)));
  }
  return std::make_shared<ov::Model>(results, parameters);
}

void saveNetwork(const NetworkRecipe& recipe, const std::string& file) {
  ov::serialize(makeNetwork(recipe), file);
}

NetworkRecipe fixedStyleRecipe(float weight) {
  NetworkRecipe recipe;
  recipe.inputs = {{{"frame"}, {1, 3, -1, -1}}};
  recipe.weight = weight;
  return recipe;
}

NetworkRecipe transferRecipe(float weight) {
  NetworkRecipe recipe;
  recipe.inputs = {{{"input_content"}, {1, 3, 24, 40}}, {{"input_style"}, {1, 3, 16, 16}}};
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
