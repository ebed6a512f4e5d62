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
  return {.inputs = {{{"frame"}, "1,3,?,?"}}, .weight = weight};
}

NetworkRecipe transferRecipe(float weight) {
  return {.inputs = {{{"input_content"}, "1,3,24,40"}, {{"input_style"}, "1,3,16,16"}}, .weight = weight};
}

std::string onnxBytes() {
  using namespace std::string_literals;
  return "\010\010:\222\001\012\036\012\005frame\012\007weights\022\007picture\042\003Mul\022\005graph*!"
         "\010\001\010\003\010\001\010\001\020\001B\007weightsJ\014"s +
         onnxWeights() +
         "Z!\012\005frame\022\030\012\026\010\001\022\022\012\002\010\001\012\002\010\003\012\003\022\001h\012\003\022\001wb#"
         "\012\007picture"
         "\022\030\012\026\010\001\022\022\012\002\010\001\012\002\010\003\012\003\022\001h\012\003\022\001wB\002\020\015"s;
}

std::string onnxWeights() {
  const std::array<float, 3> weights = {0.1F, 0.2F, 0.3F}; // half precision knows none of them
  std::string content(sizeof weights, '\0');
  std::memcpy(content.data(), weights.data(), content.size());
  return content;
}

} // namespace vorin::tests
