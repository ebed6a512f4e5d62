// What this project asks of ov::, for both makers of it: the runtime's own C++ interface, and compat/mingw over the C one.
// Expectations are plain values, so that a build for either has to give the same answers. The tests of the neural styles and of
// vorin-pack verify show the rest: frames, tensors, element types and shapes.
#include "support/ir_network.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>
#include <openvino/core/layout.hpp>
#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/properties.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorin::tests {
namespace {

using namespace testing;

using ov::preprocess::PrePostProcessor;

std::shared_ptr<ov::Model> read(const IrNetwork& network) {
  ov::Tensor weights(ov::element::u8, {std::max<std::size_t>(network.weights().size(), 1)});
  std::copy(network.weights().begin(), network.weights().end(), weights.data<std::uint8_t>());
  return ov::Core().read_model(network.description(), weights);
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
  const ov::CompiledModel compiled =
      core.compile_model(read(threePlanes("1,3,2,2")), "CPU", ov::AnyMap{{"INFERENCE_NUM_THREADS", 2}});
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

TEST(OpenVinoBinding, ReshapesForPortsToo) {
  const std::shared_ptr<ov::Model> model = read(threePlanes("1,3,?,?"));
  const ov::Output<ov::Node> input = model->input();
  model->reshape(ov::PartialShape{1, 3, 5, 7});
  EXPECT_EQ(input.get_shape(), (ov::Shape{1, 3, 5, 7}));
  EXPECT_EQ(model->output(0).get_shape(), (ov::Shape{1, 3, 5, 7}));
  EXPECT_THROW(model->reshape(ov::PartialShape{1, 4, 5, 7}), ov::Exception);
  EXPECT_EQ(model->input(0).get_partial_shape(), (ov::PartialShape{1, 3, 5, 7}));
}

// The runtime's own exceptions are ov::Exception, with its text; others are std::exception only.
TEST(OpenVinoBinding, ThrowsWhatTheRuntimeThrows) {
  struct Case {
    std::string what;
    std::function<void()> action;
    std::string message;
  };
  ov::Core core;
  const std::shared_ptr<ov::Model> two = read(twoInputs());
  const std::shared_ptr<ov::Model> any_size = read(threePlanes("1,3,?,?"));
  ov::InferRequest request = core.compile_model(read(threePlanes("1,3,2,2")), "CPU").create_infer_request();
  ov::Tensor bytes(ov::element::u8, {1, 3, 2, 2});
  const ov::AnyMap unknown = {{"NONE", "1"}};
  const std::vector<Case> cases = {
      {"no such file", [&] { core.read_model("nowhere.xml"); }, "Could not open the file"},
      {"no network", [&] { core.read_model("<nothing", ov::Tensor()); }, "Unable to read the model"},
      {"no such device", [&] { core.compile_model(two, "XPU"); }, "Device with \"XPU\" name is not registered"},
      {"no such property", [&] { core.get_property("CPU", "NONE"); }, "Cannot get unsupported property: NONE"},
      {"setting it", [&] { core.set_property("CPU", ov::AnyMap(unknown)); }, "Unsupported property NONE"},
      {"no number", [&] { core.get_property("CPU", "FULL_DEVICE_NAME").as<int>(); }, "Could not convert"},
      {"no such input", [&] { two->input("x"); }, "Input for tensor name 'x' is not found"},
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
  };
  for (const Case& c : cases) {
    EXPECT_THAT(c.action, ThrowsMessage<ov::Exception>(HasSubstr(c.message))) << c.what;
  }
  EXPECT_THAT([&] { two->input(5); }, AllOf(Throws<std::exception>(), Not(Throws<ov::Exception>())));
}

} // namespace
} // namespace vorin::tests
