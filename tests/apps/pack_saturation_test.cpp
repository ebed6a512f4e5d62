// vorin-pack verify on 8-bit networks: weights with which processors without VNNI would compute wrongly. Not in a build on the
// runtime's C interface, which does not show a network's operations.
#include "support/ir_network.h"
#include "support/pack_run.h"

#include <array>
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

// ---- nine weights for three planes, the last of them the given one, in units of kScale ----

Value scaled(IrNetwork& network, Value integers) {
  return network.operation("Multiply", {integers, network.constant("", Floats{kScale})});
}

Value signedBytes(IrNetwork& network, int last) {
  const std::vector<std::int8_t> weights = {1, 2, -3, 4, 5, -6, 7, 8, static_cast<std::int8_t>(last)};
  return scaled(network, asFloat(network, network.constant("3,3,1,1", weights)));
}

Value bytesWithAZeroPoint(IrNetwork& network, int last) {
  const std::vector<std::uint8_t> weights = {121, 122, 117, 124, 125, 114, 127, 128, static_cast<std::uint8_t>(120 + last)};
  const Value zero = asFloat(network, network.constant("1", std::vector<std::uint8_t>{120}));
  return scaled(network, network.operation("Subtract", {asFloat(network, network.constant("3,3,1,1", weights)), zero}));
}

// The range is that of all 8 bits, whatever the weights reach.
Value fakelyQuantised(IrNetwork& network, int last) {
  const Floats weights = {0.25F, 0.5F, -0.75F, 1, 1.25F, -1.5F, 1.75F, 2, kScale * static_cast<float>(last)};
  return fakeQuantize(network, network.constant("3,3,1,1", weights), -127 * kScale, 127 * kScale, 255);
}

Value floats(IrNetwork& network, int last) {
  return network.constant("3,3,1,1", Floats{1, 2, 3, 4, 5, 6, 7, 8, static_cast<float>(last)});
}

// ---- activations of the frame ----

Value asItIs(IrNetwork& /*network*/, Value frame) {
  return frame;
}

Value quantised(IrNetwork& network, Value frame) {
  return fakeQuantize(network, frame, 0, 2, 256);
}

Value quantisedFarOff(IrNetwork& network, Value frame) {
  const Value none = network.constant("4", Integers{0, 0, 0, 0});
  const Value padded =
      network.operation("Pad", {quantised(network, network.operation("Sigmoid", {frame})), none, none}, "pad_mode=\"reflect\"");
  const Value twice = network.operation("Concat", {padded, network.operation("ReLU", {padded})}, "axis=\"0\"");
  return network.operation("ReduceMax", {twice, network.constant("1", Integers{0})}, "keep_dims=\"true\"");
}

Value quantisedTo16Bits(IrNetwork& network, Value frame) {
  return fakeQuantize(network, frame, 0, 2, 65536);
}

Value quantisedBeforeASoftmax(IrNetwork& network, Value frame) {
  return network.operation("SoftMax", {quantised(network, frame)}, "axis=\"1\"");
}

// ---- layers, and the picture that they give ----

struct Layer {
  std::string name;
  Value picture;
};

Layer convolution(IrNetwork& network, Value frame, Value weights) {
  const Value layer = network.operation("Convolution", {frame, weights}, kWindow);
  return {"Convolution" + std::to_string(layer), layer};
}

Layer groupConvolution(IrNetwork& network, Value frame, Value weights) {
  const Value planes = network.operation("Concat", {frame, frame, frame}, "axis=\"1\"");
  const Value layer = network.operation("GroupConvolution", {planes, reshaped(network, weights, {3, 1, 3, 1, 1})}, kWindow);
  return {"GroupConvolution" + std::to_string(layer), layer};
}

Layer matrixProduct(IrNetwork& network, Value frame, Value weights) {
  const Value layer = network.operation("MatMul", {transposed(network, frame, {0, 2, 3, 1}), reshaped(network, weights, {3, 3})},
                                        R"(transpose_a="false" transpose_b="true")");
  return {"MatMul" + std::to_string(layer), transposed(network, layer, {0, 3, 1, 2})};
}

Layer matrixProductFromTheLeft(IrNetwork& network, Value frame, Value weights) {
  const Value layer = network.operation("MatMul", {reshaped(network, weights, {3, 3}), transposed(network, frame, {0, 2, 1, 3})},
                                        R"(transpose_a="false" transpose_b="false")");
  return {"MatMul" + std::to_string(layer), transposed(network, layer, {0, 2, 1, 3})};
}

struct Case {
  Value (*weights)(IrNetwork&, int last);
  Value (*activation)(IrNetwork&, Value frame);
  Layer (*layer)(IrNetwork&, Value frame, Value weights);
  int last;
  bool saturates;
};

constexpr std::array kCases = {
    Case{signedBytes, quantised, convolution, -64, false},
    Case{signedBytes, quantised, convolution, -65, true},
    Case{bytesWithAZeroPoint, quantised, convolution, 64, false},
    Case{bytesWithAZeroPoint, quantised, convolution, 65, true},
    Case{fakelyQuantised, quantised, convolution, 64, false},
    Case{fakelyQuantised, quantised, convolution, -65, true},
    Case{signedBytes, quantised, groupConvolution, 64, false},
    Case{fakelyQuantised, quantised, groupConvolution, 65, true},
    Case{bytesWithAZeroPoint, quantised, matrixProduct, 64, false},
    Case{bytesWithAZeroPoint, quantised, matrixProduct, 65, true},
    Case{signedBytes, quantised, matrixProductFromTheLeft, 65, true},
    Case{signedBytes, quantisedFarOff, convolution, 127, true},
    Case{signedBytes, quantisedTo16Bits, convolution, 127, false},
    Case{signedBytes, quantisedBeforeASoftmax, convolution, 127, false},
    Case{signedBytes, asItIs, convolution, 127, false},
    Case{fakelyQuantised, asItIs, convolution, 127, false},
    Case{floats, quantised, convolution, 127, false},
    Case{floats, asItIs, convolution, 127, false},
};

TEST(PackSaturation, IsFoundFromWeightsOf65OnInQuantisedLayers) {
  for (std::size_t number = 0; number < kCases.size(); ++number) {
    SCOPED_TRACE("case " + std::to_string(number));
    const Case& test = kCases[number];
    IrNetwork network;
    const Value frame = network.input({"frame"}, "1,3,?,?");
    const Value weights = test.weights(network, test.last);
    const Layer layer = test.layer(network, test.activation(network, frame), weights);
    network.output(layer.picture);
    const PackRun pack;
    writeFile(pack.file("net.xml"), network.description());
    writeFile(pack.file("net.bin"), network.weights());
    ASSERT_EQ(pack.run({"build", "p.bin", "--as", "cartoon", "net.xml"}).exit_status, 0);
    const ChildResult result = pack.run({"verify", "p.bin", "cartoon"});
    EXPECT_EQ(result.exit_status, test.saturates ? 1 : 0);
    EXPECT_EQ(result.standard_output,
              test.saturates
                  ? "cartoon: the network 'cartoon_model_slim5.xml' has weights of up to " + std::to_string(std::abs(test.last)) +
                        " in its 8-bit layer '" + layer.name +
                        "', and processors without VNNI compute such a layer correctly only up to 64: quantise it with " +
                        "weights of 7 bits (nncf: overflow_fix=ENABLE)\n"
                  : "");
  }
}

} // namespace
} // namespace vorin::tests
