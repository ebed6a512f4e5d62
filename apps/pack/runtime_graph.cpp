#include "packing.h"
#include "text.h"

#include <openvino/core/graph_util.hpp>
#include <openvino/frontend/manager.hpp>
#include <openvino/op/constant.hpp>
#include <openvino/op/convert.hpp>
#include <openvino/op/divide.hpp>
#include <openvino/op/fake_quantize.hpp>
#include <openvino/op/multiply.hpp>
#include <openvino/op/subtract.hpp>
#include <openvino/runtime/tensor.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string_view>

namespace vorin::pack {
namespace {

using Port = ov::Output<ov::Node>;
using ov::op::v0::Constant;
using ov::op::v0::FakeQuantize;

constexpr float kLargestWeight = 64;
constexpr std::size_t kLevelsOfAByte = 256;

constexpr auto kLayers = std::to_array<std::string_view>(
    {"Convolution", "ConvolutionBackpropData", "GroupConvolution", "GroupConvolutionBackpropData", "MatMul"});
// The operations that may lie between an activation's FakeQuantize and the layer that computes with its bytes. The runtime moves
// scales and zero points past most of these. It may not move them past sums and products of activations; including those errs on
// the safe side.
constexpr auto kPassingActivations = std::to_array<std::string_view>(
    {"Add",          "AvgPool",      "BatchToSpace", "Broadcast",    "Clamp",   "Concat",       "Convert",
     "DepthToSpace", "Divide",       "Gather",       "Interpolate",  "MaxPool", "Maximum",      "Minimum",
     "Multiply",     "PRelu",        "Pad",          "ReduceMax",    "Relu",    "Reshape",      "ShuffleChannels",
     "Slice",        "SpaceToBatch", "SpaceToDepth", "Split",        "Squeeze", "StridedSlice", "Subtract",
     "Tile",         "Transpose",    "Unsqueeze",    "VariadicSplit"});
constexpr auto kPassingWeights =
    std::to_array<std::string_view>({"Convert", "Multiply", "Reshape", "Squeeze", "Subtract", "Transpose", "Unsqueeze"});

bool isOneOf(std::span<const std::string_view> types, const ov::Node& node) {
  return std::find(types.begin(), types.end(), node.get_type_name()) != types.end();
}

bool quantisesToBytes(const ov::Node& node) {
  const auto* quantise = ov::as_type<const FakeQuantize>(&node);
  return quantise != nullptr && quantise->get_levels() <= kLevelsOfAByte;
}

// Whether a wanted node lies upstream of the port with only passing nodes in between.
template <typename Wanted, typename Passing> bool reaches(const Port& port, const Wanted& wanted, const Passing& passing) {
  std::vector<const ov::Node*> open = {port.get_node()};
  std::set<const ov::Node*> seen;
  while (!open.empty()) {
    const ov::Node* node = open.back();
    open.pop_back();
    if (!seen.insert(node).second) {
      continue;
    }
    if (wanted(*node)) {
      return true;
    }
    for (std::size_t input = 0; passing(*node) && input < node->get_input_size(); ++input) {
      open.push_back(node->get_input_node_ptr(input));
    }
  }
  return false;
}

bool isQuantisedActivation(const Port& port) {
  return reaches(port, quantisesToBytes, [](const ov::Node& node) { return isOneOf(kPassingActivations, node); });
}

bool isConstant(const Port& port) {
  const auto depends_on_frames = [](const ov::Node& node) { return node.get_input_size() == 0 && !ov::is_type<Constant>(&node); };
  return !reaches(port, depends_on_frames, [](const ov::Node&) { return true; });
}

Port floats(const Port& port) {
  return std::make_shared<ov::op::v0::Convert>(port, ov::element::f32);
}

// The output of a FakeQuantize of weights, counted in its steps: whole numbers, except for rounding.
Port stepsOf(const Port& weights) {
  const auto& quantise = *ov::as_type<const FakeQuantize>(weights.get_node());
  const Port range = std::make_shared<ov::op::v1::Subtract>(floats(quantise.input_value(4)), floats(quantise.input_value(3)));
  const auto intervals = Constant::create(ov::element::f32, {}, {static_cast<float>(quantise.get_levels() - 1)});
  const Port step = std::make_shared<ov::op::v1::Divide>(range, intervals);
  return std::make_shared<ov::op::v1::Divide>(floats(weights), step);
}

// Weights as the whole numbers that the runtime multiplies by, computed from constants; nothing for weights that are not
// quantised to 8 bits. The scale is left out, a zero point is not.
std::optional<Port> wholeNumbersOf(const Port& weights) {
  const ov::Node& node = *weights.get_node();
  if (ov::is_type<Constant>(&node)) {
    const ov::element::Type& type = weights.get_element_type();
    return type == ov::element::i8 || type == ov::element::u8 ? std::optional(floats(weights)) : std::nullopt;
  }
  if (quantisesToBytes(node)) {
    return isConstant(weights) ? std::optional(stepsOf(weights)) : std::nullopt;
  }
  if (!isOneOf(kPassingWeights, node)) {
    return std::nullopt;
  }
  std::optional<Port> numbers = wholeNumbersOf(node.input_value(0));
  if (ov::is_type<ov::op::v1::Multiply>(&node)) {
    return numbers ? numbers : wholeNumbersOf(node.input_value(1));
  }
  if (!numbers || ov::is_type<ov::op::v0::Convert>(&node)) {
    return numbers;
  }
  ov::OutputVector inputs = node.input_values();
  inputs[0] = *numbers;
  if (ov::is_type<ov::op::v1::Subtract>(&node)) {
    inputs[1] = floats(inputs[1]);
  }
  return node.clone_with_new_inputs(inputs)->output(0);
}

float largestOf(const Port& numbers) {
  const ov::Model constants(ov::OutputVector{numbers}, ov::ParameterVector{});
  ov::TensorVector values = {ov::Tensor(numbers.get_element_type(), numbers.get_shape())};
  OPENVINO_ASSERT(constants.evaluate(values, {}), "its quantised weights cannot be computed");
  float largest = 0;
  for (const float value : std::span(values[0].data<const float>(), values[0].get_size())) {
    if (std::isfinite(value)) { // it is infinite or not a number if the step is zero
      largest = std::max(largest, std::round(std::abs(value)));
    }
  }
  return largest;
}

float largestQuantisedWeight(const Port& activation, const Port& weights) {
  if (!isQuantisedActivation(activation)) {
    return 0;
  }
  const std::optional<Port> numbers = wholeNumbersOf(weights);
  return numbers ? largestOf(*numbers) : 0;
}

} // namespace

// Asks for the ONNX reader by name: for a broken file, the runtime would else try all its readers, and some of them print.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision) {
  ov::frontend::FrontEndManager readers;
  const ov::frontend::FrontEnd::Ptr reader = readers.load_by_framework("onnx");
  const std::shared_ptr<ov::Model> model = reader->convert(reader->load(base::utf8Text(onnx)));
  if (model->inputs().empty() || model->outputs().empty()) { // the runtime reads an empty file as such a network
    throw std::runtime_error("it has no input or no output");
  }
  ov::save_model(model, base::utf8Text(network), half_precision);
}

std::vector<std::string> findSaturatingLayers(const ov::Model& network) {
  std::vector<std::string> findings;
  for (const std::shared_ptr<ov::Node>& layer : network.get_ordered_ops()) {
    if (!isOneOf(kLayers, *layer)) {
      continue;
    }
    const Port first = layer->input_value(0);
    const Port second = layer->input_value(1);
    float largest = largestQuantisedWeight(first, second);
    if (layer->get_type_name() == std::string_view("MatMul")) { // its weights may be on either side
      largest = std::max(largest, largestQuantisedWeight(second, first));
    }
    if (largest > kLargestWeight) {
      findings.push_back(
          "has weights of up to " + std::to_string(static_cast<int>(largest)) + " in its 8-bit layer " +
          base::quoted(layer->get_friendly_name()) + ", and processors without VNNI compute such a layer correctly only up to " +
          std::to_string(static_cast<int>(kLargestWeight)) + ": quantise it with weights of 7 bits (nncf: overflow_fix=ENABLE)");
    }
  }
  return findings;
}

} // namespace vorin::pack
