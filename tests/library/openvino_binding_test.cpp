// What this project asks of ov::, in one table for both makers of it: the runtime's own C++ interface, and compat/mingw over the
// C one. Expectations are plain values, so that a build for either has to give the same answers.
#include "support/ir_network.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>
#include <openvino/core/layout.hpp>
#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/properties.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace vorin::tests {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using ov::preprocess::PrePostProcessor;

std::shared_ptr<ov::Model> read(const IrNetwork& network) {
  ov::Tensor weights(ov::element::u8, {std::max<std::size_t>(network.weights().size(), 1)});
  std::copy(network.weights().begin(), network.weights().end(), weights.data<std::uint8_t>());
  return ov::Core().read_model(network.description(), weights);
}

// Gives the elements of its one input as they are.
IrNetwork identity(const std::string& shape, const std::string& type = "f32") {
  IrNetwork network;
  network.output(network.operation("Abs", {network.operation("Abs", {network.input({"frame"}, shape, type)})}));
  return network;
}

// Adds [1,3,1,1] constants, so that shapes that do not fit are refused.
IrNetwork threePlanes(const std::string& shape) {
  IrNetwork network;
  const auto planes = network.constant("1,3,1,1", std::vector<float>{1.0F, 2.0F, 3.0F});
  network.output(network.operation("Add", {network.input({"frame"}, shape), planes}));
  return network;
}

IrNetwork twoInputs() {
  IrNetwork network;
  const auto content = network.input({"input_content", "other"}, "1,3,4,6", "f32", "[N,C,H,W]");
  network.output(network.operation("Subtract", {content, network.input({"a\\,b &amp; c"}, "1,3,4,6")}));
  return network;
}

TEST(OpenVinoBinding, GivesPropertiesInTheirTypes) {
  ov::Core core;
  EXPECT_THAT(core.get_available_devices(), Contains("CPU"));
  const std::string full_name = core.get_property("CPU", "FULL_DEVICE_NAME").as<std::string>();
  EXPECT_THAT(full_name, testing::Not(IsEmpty()));
  EXPECT_EQ(core.get_property("CPU", ov::device::full_name), full_name);

  const std::vector<std::string> capabilities = core.get_property("CPU", ov::device::capabilities);
  EXPECT_THAT(capabilities, testing::IsSupersetOf({"FP32", "INT8", "BIN"}));
  const ov::Any untyped = core.get_property("CPU", "OPTIMIZATION_CAPABILITIES");
  EXPECT_EQ(untyped.as<std::vector<std::string>>(), capabilities);

  core.set_property("CPU", ov::AnyMap{{"INFERENCE_PRECISION_HINT", "f32"}, {"INFERENCE_NUM_THREADS", 1}});
  EXPECT_EQ(core.get_property("CPU", ov::hint::inference_precision), ov::element::f32);
  EXPECT_EQ(core.get_property("CPU", "INFERENCE_NUM_THREADS").as<int>(), 1);
  const ov::CompiledModel compiled = core.compile_model(read(identity("1,3")), "CPU", ov::AnyMap{{"INFERENCE_NUM_THREADS", 2}});
  EXPECT_EQ(compiled.get_property("INFERENCE_NUM_THREADS").as<int>(), 2);
}

// Processors make this chain of operations of their own. So in a process of its own (see CMakeLists.txt) the test fails where the
// stand-in for a GPU does not know of them.
TEST(OpenVinoBindingCache, TellsWhetherANetworkCameFromIt) {
  IrNetwork network;
  const auto input = network.input({"input"}, "1,3,16,16");
  const auto scale = network.constant("1,3,1,1", std::vector<float>{2, 3, 4});
  const auto squared = network.operation("Multiply", {network.operation("Multiply", {input, scale}), input});
  network.output(network.operation("Subtract", {squared, scale}));
  const TemporaryFolder cache;
  for (const std::string device : {"GPU", "CPU"}) {
    for (const bool is_cached : {false, true}) {
      ov::Core core;
      core.set_property(device, ov::cache_dir((cache.path() / device).string()));
      EXPECT_EQ(core.compile_model(read(network), device).get_property(ov::loaded_from_cache), is_cached) << device;
    }
  }
}

TEST(OpenVinoBinding, ReadsInputsFromMemoryAndFromFiles) {
  const TemporaryFolder folder;
  const IrNetwork network = twoInputs();
  const std::filesystem::path file = folder.path() / u8"n\u00e4tz.xml";
  std::ofstream(file, std::ios::binary) << network.description();
  const std::u8string utf8 = file.u8string();
  const std::string path(utf8.begin(), utf8.end());
  for (const auto& model : {read(network), ov::Core().read_model(path), ov::Core().read_model(path, std::string())}) {
    const ov::OutputVector inputs = model->inputs();
    ASSERT_EQ(inputs.size(), 2U);
    EXPECT_THAT(inputs[0].get_names(), UnorderedElementsAre("input_content", "other"));
    EXPECT_EQ(ov::layout::get_layout(inputs[0]).to_string(), "[N,C,H,W]");
    EXPECT_THAT(inputs[1].get_names(), UnorderedElementsAre("a,b & c"));
    EXPECT_EQ(ov::layout::get_layout(inputs[1]).to_string(), "[...]");
    EXPECT_THAT(model->input("other").get_names(), UnorderedElementsAre("input_content", "other"));
    ASSERT_EQ(model->outputs().size(), 1U);
    EXPECT_EQ(model->output().get_shape(), (ov::Shape{1, 3, 4, 6}));
  }
}

TEST(OpenVinoBinding, KnowsInputsWithoutNames) {
  IrNetwork network;
  network.output(network.operation("Abs", {network.input({}, "?,8,?,3", "f32", "[N,H,W,C]")}));
  const std::shared_ptr<const ov::Model> model = read(network);
  const ov::Output<const ov::Node> input = model->input();
  EXPECT_THAT(input.get_names(), IsEmpty());
  const ov::Layout layout = ov::layout::get_layout(input);
  ASSERT_TRUE(ov::layout::has_channels(layout));
  EXPECT_EQ(ov::layout::channels_idx(layout), 3);
  EXPECT_EQ(ov::layout::channels_idx(ov::Layout("N...C?")), -2);
  EXPECT_FALSE(ov::layout::has_channels(ov::Layout()));
}

TEST(OpenVinoBinding, TellsElementTypesAndShapes) {
  struct Case {
    std::string type;
    ov::element::Type wanted;
    bool is_real;
    std::string shape;
    std::string wanted_shape;
  };
  for (const Case& c : {Case{"f32", ov::element::f32, true, "1,3,?,?", "[1,3,?,?]"},
                        Case{"f16", ov::element::f16, true, "2..5,2..,..5,0", "[2..5,2..,..5,0]"},
                        Case{"bf16", ov::element::bf16, true, "", "[]"}, Case{"i32", ov::element::i32, false, "...", "[...]"},
                        Case{"i8", ov::element::i8, false, "7", "[7]"}, Case{"f64", ov::element::f64, true, "?", "[?]"}}) {
    SCOPED_TRACE(c.type);
    const ov::Output<ov::Node> input = read(identity(c.shape, c.type))->input(); // which outlives its network
    EXPECT_EQ(input.get_element_type(), c.wanted);
    EXPECT_EQ(input.get_element_type().to_string(), c.type);
    EXPECT_EQ(input.get_element_type().is_real(), c.is_real);
    EXPECT_EQ(input.get_partial_shape().to_string(), c.wanted_shape);
  }
}

TEST(OpenVinoBinding, CalculatesWithShapes) {
  const ov::PartialShape shape = {1, -1, ov::Dimension(2, 5)};
  EXPECT_TRUE(shape.rank().is_static());
  EXPECT_TRUE(ov::PartialShape::dynamic().rank().is_dynamic());
  EXPECT_FALSE(shape.is_static());
  EXPECT_EQ((ov::PartialShape{1, 2}), ov::PartialShape(ov::Shape{1, 2}));
  EXPECT_TRUE(shape[1].compatible(7));
  EXPECT_FALSE(shape[2].compatible(6));
  EXPECT_FALSE(shape[0].compatible(3));
  EXPECT_EQ(ov::Shape({4, 6}).at(-1), 6U);
}

TEST(OpenVinoBinding, ReshapesForPortsToo) {
  const std::shared_ptr<ov::Model> model = read(threePlanes("1,3,?,?"));
  const ov::Output<ov::Node> input = model->input();
  model->reshape(ov::PartialShape{1, 3, 5, 7});
  EXPECT_EQ(input.get_shape(), (ov::Shape{1, 3, 5, 7}));
  EXPECT_EQ(model->output(0).get_shape(), (ov::Shape{1, 3, 5, 7}));
  EXPECT_THROW(model->reshape(ov::PartialShape{1, 4, 5, 7}), ov::Exception);
  EXPECT_EQ(model->input(0).get_partial_shape(), (ov::PartialShape{1, 3, 5, 7}));
}

// Half precision has 11 bits: 1/1024 is one step of values below 2, and the constants are rounded to it too.
TEST(OpenVinoBinding, ConvertsFramesForTheNetwork) {
  using Steps = ov::preprocess::PreProcessSteps;
  struct Case {
    std::string what;
    std::string network_type;
    std::function<void(Steps&)> convert;
    std::array<float, 3> mean;
    std::array<float, 3> scale;
    float tolerance;
  };
  const std::array<float, 3> means = {123.675F, 116.28F, 103.53F};
  const std::array<float, 3> scales = {58.395F, 57.12F, 57.375F};
  const std::array<float, 3> half = {127.5F, 127.5F, 127.5F};
  const auto tables = [&](Steps& steps) {
    steps.convert_element_type(ov::element::f16).mean({means.begin(), means.end()}).scale({scales.begin(), scales.end()});
  };
  const auto scalars = [](Steps& steps) { steps.convert_element_type().mean(127.5F).scale(127.5F); };
  const auto mixed = [](Steps& steps) { steps.convert_element_type().mean(127.5F).scale({127.5F, 127.5F, 127.5F}); };
  for (const Case& c : {Case{"in half precision", "f16", tables, means, scales, 4.0F / 1024},
                        Case{"to the network's half precision", "f16", mixed, half, half, 2.0F / 1024},
                        Case{"to the network's own type", "f32", mixed, half, half, 1e-6F},
                        Case{"by one number", "f32", scalars, half, half, 1e-6F}}) {
    SCOPED_TRACE(c.what);
    constexpr std::size_t kHeight = 3;
    constexpr std::size_t kWidth = 5;
    IrNetwork network; // whose output is negative where its input is positive
    const auto frame = network.input({"frame"}, "1,3,3,5", c.network_type);
    network.output(network.operation("Negative", {frame}));
    const std::shared_ptr<ov::Model> model = read(network);
    PrePostProcessor processor(model);
    ov::preprocess::InputInfo& input = processor.input("frame");
    input.tensor()
        .set_element_type(ov::element::u8)
        .set_layout("NHWC")
        .set_color_format(ov::preprocess::ColorFormat::BGR, std::vector<std::string>{});
    input.model().set_layout("NCHW");
    c.convert(input.preprocess().convert_color(ov::preprocess::ColorFormat::BGR));
    processor.output().tensor().set_element_type(ov::element::f32);
    EXPECT_EQ(processor.build(), model); // the network itself
    EXPECT_EQ(model->input().get_shape(), (ov::Shape{1, kHeight, kWidth, 3}));
    EXPECT_EQ(model->input().get_element_type(), ov::element::u8);
    EXPECT_EQ(model->output().get_element_type(), ov::element::f32);

    std::vector<std::uint8_t> bytes(kHeight * kWidth * 3);
    std::mt19937 random(5);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random() % 256); });
    const ov::AnyMap exact = {{"INFERENCE_PRECISION_HINT", "f32"}}; // also on machines whose own choice is bf16
    ov::InferRequest request = ov::Core().compile_model(model, "CPU", exact).create_infer_request();
    request.set_input_tensor(ov::Tensor(ov::element::u8, {1, kHeight, kWidth, 3}, bytes.data()));
    request.infer();
    const ov::Tensor output = request.get_output_tensor();
    ASSERT_EQ(output.get_shape(), (ov::Shape{1, 3, kHeight, kWidth}));
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      const std::size_t channel = index % 3;
      const float wanted = -(static_cast<float>(bytes[index]) - c.mean[channel]) / c.scale[channel];
      ASSERT_NEAR(output.data<float>()[channel * kHeight * kWidth + index / 3], wanted, c.tolerance) << index;
    }
  }
}

TEST(OpenVinoBinding, SharesTensorsAndRequests) {
  std::vector<float> content(72, 5.0F);
  std::vector<float> style(72, 2.0F);
  const ov::Shape shape = {1, 3, 4, 6};
  const ov::Tensor on_content(ov::element::f32, shape, content.data());
  EXPECT_EQ(on_content.data<float>(), content.data());
  ov::Tensor own(ov::element::f32, shape);
  const ov::Tensor same = own;
  own.data<float>()[71] = 4.0F;
  EXPECT_EQ(same.data<float>()[71], 4.0F);

  ov::CompiledModel compiled = ov::Core().compile_model(read(twoInputs()), "CPU");
  const std::vector<ov::Output<const ov::Node>> inputs = compiled.inputs();
  ov::InferRequest request = compiled.create_infer_request();
  ov::InferRequest copy = request;
  compiled = {};
  request.set_input_tensor(0, on_content);
  copy.set_tensor(inputs[1], ov::Tensor(ov::element::f32, shape, style.data()));
  request.infer();
  EXPECT_THAT(std::vector<float>(copy.get_output_tensor().data<float>(), copy.get_output_tensor(0).data<float>() + 72),
              testing::Each(3.0F));
  style.assign(72, 1.0F); // bound, not copied
  copy.infer();
  EXPECT_EQ(request.get_output_tensor().data<float>()[71], 4.0F);
}

// The runtime's own exceptions are ov::Exception, with its text; others are std::exception only.
TEST(OpenVinoBinding, ThrowsWhatTheRuntimeThrows) {
  struct Case {
    std::string what;
    std::function<void()> action;
    std::string message;
    bool is_the_runtimes = true;
  };
  ov::Core core;
  const std::shared_ptr<ov::Model> two = read(twoInputs());
  const std::shared_ptr<ov::Model> any_size = read(threePlanes("1,3,?,?"));
  ov::InferRequest request = core.compile_model(read(threePlanes("1,3,2,2")), "CPU").create_infer_request();
  ov::Tensor bytes(ov::element::u8, {1, 3, 2, 2});
  ov::Tensor wide(ov::element::f32, {1, 3, 2, 3});
  const ov::AnyMap unknown = {{"NONE", "1"}};
  const std::vector<Case> cases = {
      {"no such file", [&] { core.read_model("nowhere.xml"); }, "Could not open the file"},
      {"no network", [&] { core.read_model("<nothing", ov::Tensor()); }, "Unable to read the model"},
      {"no such device", [&] { core.compile_model(two, "XPU"); }, "Device with \"XPU\" name is not registered"},
      {"no such property", [&] { core.get_property("CPU", "NONE"); }, "Cannot get unsupported property: NONE"},
      {"setting it", [&] { core.set_property("CPU", ov::AnyMap(unknown)); }, "Unsupported property NONE"},
      {"no number", [&] { core.get_property("CPU", "FULL_DEVICE_NAME").as<int>(); }, "Could not convert"},
      {"no such input", [&] { two->input("x"); }, "Input for tensor name 'x' is not found"},
      {"index of an input", [&] { two->input(5); }, "", false},
      {"one input of two", [&] { two->input(); }, "input() must be called on a Model with exactly one parameter"},
      {"a size not known", [&] { static_cast<void>(any_size->input().get_shape()); }, "to_shape was called on a dynamic shape"},
      {"dimension not there", [&] { any_size->input().get_partial_shape()[7].is_static(); }, "out-of-range"},
      {"layout", [&] { ov::Layout("N@"); }, "Layout name is invalid"},
      {"pre-processing of no input", [&] { PrePostProcessor(two).input("x"); }, "Model doesn't have input with name x"},
      {"empty tensor", [&] { static_cast<void>(ov::Tensor().get_shape()); }, "Tensor was not initialized."},
      {"bytes as numbers", [&] { static_cast<void>(bytes.data<float>()); }, "type u8, is not representable as pointer to f32"},
      {"empty request", [&] { ov::InferRequest().infer(); }, "InferRequest was not initialized."},
      {"input by index", [&] { request.set_input_tensor(5, bytes); }, "Input port for index 5 was not found"},
      {"wrong type", [&] { request.set_input_tensor(bytes); }, "Failed to set tensor for input with precision: u8"},
      {"wrong size", [&] { request.set_input_tensor(wide); }, "incompatible"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    try {
      c.action();
      ADD_FAILURE() << "does not throw";
    } catch (const ov::Exception& error) {
      EXPECT_TRUE(c.is_the_runtimes);
      EXPECT_THAT(error.what(), HasSubstr(c.message));
    } catch (const std::exception&) {
      EXPECT_FALSE(c.is_the_runtimes);
    }
  }
}

} // namespace
} // namespace vorin::tests
