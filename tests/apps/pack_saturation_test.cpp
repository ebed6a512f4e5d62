// vorin-pack verify on 8-bit networks: weights with which processors without VNNI would compute wrongly. Not in a build on the
// runtime's C interface, which does not show a network's operations.
#include "support/pack_run.h"

#include <cstdlib>

namespace vorin::tests {
namespace {

using Value = IrNetwork::Value;
using Floats = std::vector<float>;
using Integers = std::vector<std::int64_t>;

constexpr float kScale = 0.25F;
constexpr auto kWindow = R"(strides="1,1" dilations="1,1" pads_begin="0,0" pads_end="0,0" auto_pad="explicit")";

Value fakeQuantize(IrNetwork& network, Value value, float low, float high, int levels) {
  const Value from = network.constant("", Floats{low});
  const Value to = network.constant("", Floats{high});
  return network.operation("FakeQuantize", {value, from, to, from, to}, "levels=\"" + std::to_string(levels) + '"');
}

Value asFloat(IrNetwork& network, Value value) {
  return network.operation("Convert", {value}, "destination_type=\"f32\"");
}

Value reshaped(IrNetwork& network, Value value, const Integers& shape) {
  return network.operation("Reshape", {value, network.constant(std::to_string(shape.size()), shape)}, "special_zero=\"true\"");
}

Value transposed(IrNetwork& network, Value value, const Integers& order) {
  return network.operation("Transpose", {value, network.constant("4", order)});
}

enum class Weights { kSigned, kWithAZeroPoint, kFakelyQuantised, kFloat };
enum class Activation { kAsItIs, kQuantised, kFarOff, kOf16Bits, kBeforeASoftmax };
enum class Layer { kConvolution, kGroupConvolution, kProduct, kProductFromTheLeft };

// Nine weights for three planes, the last of them the given one, in units of kScale.
Value weightsOf(IrNetwork& network, Weights kind, int last) {
  const auto inPlanes = [&](auto... weights) { return network.constant("3,3,1,1", std::vector{weights...}); };
  if (kind == Weights::kFloat) {
    return inPlanes(1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, 7.0F, 8.0F, static_cast<float>(last));
  }
  if (kind == Weights::kFakelyQuantised) { // the range is that of all 8 bits, whatever the weights reach
    const Value weights = inPlanes(0.25F, 0.5F, -0.75F, 1.0F, 1.25F, -1.5F, 1.75F, 2.0F, kScale * static_cast<float>(last));
    return fakeQuantize(network, weights, -127 * kScale, 127 * kScale, 255);
  }
  Value integers = 0;
  if (kind == Weights::kSigned) {
    integers = asFloat(
        network, network.constant("3,3,1,1", std::vector<std::int8_t>{1, 2, -3, 4, 5, -6, 7, 8, static_cast<std::int8_t>(last)}));
  } else {
    const std::vector<std::uint8_t> weights = {121, 122, 117, 124, 125, 114, 127, 128, static_cast<std::uint8_t>(120 + last)};
    const Value zero = asFloat(network, network.constant("1", std::vector<std::uint8_t>{120}));
    integers = network.operation("Subtract", {asFloat(network, network.constant("3,3,1,1", weights)), zero});
  }
  return network.operation("Multiply", {integers, network.constant("", Floats{kScale})});
}

Value activationOf(IrNetwork& network, Activation kind, Value frame) {
  switch (kind) {
  case Activation::kAsItIs:
    return frame;
  case Activation::kOf16Bits:
    return fakeQuantize(network, frame, 0, 2, 65536);
  case Activation::kBeforeASoftmax:
    return network.operation("SoftMax", {fakeQuantize(network, frame, 0, 2, 256)}, "axis=\"1\"");
  case Activation::kFarOff: {
    const Value none = network.constant("4", Integers{0, 0, 0, 0});
    const Value quantised = fakeQuantize(network, network.operation("Sigmoid", {frame}), 0, 2, 256);
    const Value padded = network.operation("Pad", {quantised, none, none}, "pad_mode=\"reflect\"");
    const Value twice = network.operation("Concat", {padded, network.operation("ReLU", {padded})}, "axis=\"0\"");
    return network.operation("ReduceMax", {twice, network.constant("1", Integers{0})}, "keep_dims=\"true\"");
  }
  default:
    return fakeQuantize(network, frame, 0, 2, 256);
  }
}

// Adds the layer and what makes a picture of its answer; returns the layer's name.
std::string addLayer(IrNetwork& network, Layer kind, Value frame, Value weights) {
  if (kind == Layer::kConvolution) {
    const Value layer = network.operation("Convolution", {frame, weights}, kWindow);
    network.output(layer);
    return "Convolution" + std::to_string(layer);
  }
  if (kind == Layer::kGroupConvolution) {
    const Value planes = network.operation("Concat", {frame, frame, frame}, "axis=\"1\"");
    const Value layer = network.operation("GroupConvolution", {planes, reshaped(network, weights, {3, 1, 3, 1, 1})}, kWindow);
    network.output(layer);
    return "GroupConvolution" + std::to_string(layer);
  }
  const bool from_the_left = kind == Layer::kProductFromTheLeft;
  const Value matrix = reshaped(network, weights, {3, 3});
  const Value rows = transposed(network, frame, from_the_left ? Integers{0, 2, 1, 3} : Integers{0, 2, 3, 1});
  const Value layer = from_the_left ? network.operation("MatMul", {matrix, rows}, R"(transpose_a="false" transpose_b="false")")
                                    : network.operation("MatMul", {rows, matrix}, R"(transpose_a="false" transpose_b="true")");
  network.output(transposed(network, layer, from_the_left ? Integers{0, 2, 1, 3} : Integers{0, 3, 1, 2}));
  return "MatMul" + std::to_string(layer);
}

constexpr struct {
  Weights weights;
  Activation activation;
  Layer layer;
  int last;
  bool saturates;
} kCases[] = {
    {Weights::kSigned, Activation::kQuantised, Layer::kConvolution, -64, false},
    {Weights::kSigned, Activation::kQuantised, Layer::kConvolution, -65, true},
    {Weights::kWithAZeroPoint, Activation::kQuantised, Layer::kConvolution, 64, false},
    {Weights::kWithAZeroPoint, Activation::kQuantised, Layer::kConvolution, 65, true},
    {Weights::kFakelyQuantised, Activation::kQuantised, Layer::kConvolution, 64, false},
    {Weights::kFakelyQuantised, Activation::kQuantised, Layer::kConvolution, -65, true},
    {Weights::kFakelyQuantised, Activation::kQuantised, Layer::kGroupConvolution, 65, true},
    {Weights::kWithAZeroPoint, Activation::kQuantised, Layer::kProduct, 65, true},
    {Weights::kSigned, Activation::kQuantised, Layer::kProductFromTheLeft, 65, true},
    {Weights::kSigned, Activation::kFarOff, Layer::kConvolution, 127, true},
    {Weights::kSigned, Activation::kOf16Bits, Layer::kConvolution, 127, false},
    {Weights::kSigned, Activation::kBeforeASoftmax, Layer::kConvolution, 127, false},
    {Weights::kSigned, Activation::kAsItIs, Layer::kConvolution, 127, false},
    {Weights::kFloat, Activation::kQuantised, Layer::kConvolution, 127, false},
};

TEST(PackSaturation, IsFoundFromWeightsOf65OnInQuantisedLayers) {
  for (const auto& test : kCases) {
    SCOPED_TRACE("case " + std::to_string(&test - std::begin(kCases)));
    IrNetwork network;
    const Value frame = network.input({"frame"}, "1,3,?,?");
    const Value weights = weightsOf(network, test.weights, test.last);
    const std::string name = addLayer(network, test.layer, activationOf(network, test.activation, frame), weights);
    const PackRun pack;
    pack.save("net", network);
    ASSERT_EQ(pack.run({"build", "p.bin", "--as", "cartoon", "net.xml"}).exit_status, 0);
    const ChildResult result = pack.run({"verify", "p.bin", "cartoon"});
    EXPECT_EQ(result.exit_status, test.saturates ? 1 : 0);
    EXPECT_EQ(result.standard_output,
              test.saturates
                  ? "cartoon: the network 'cartoon_model_slim5.xml' has weights of up to " + std::to_string(std::abs(test.last)) +
                        " in its 8-bit layer '" + name +
                        "', and processors without VNNI compute such a layer correctly only up to 64: quantise it with " +
                        "weights of 7 bits (nncf: overflow_fix=ENABLE)\n"
                  : "");
  }
}

} // namespace
} // namespace vorin::tests
