// The errors of ov::, in one table for both makers of it, as openvino_binding_test.cpp has the rest.
#include "support/binding_networks.h"

#include <gmock/gmock.h>
#include <openvino/core/layout.hpp>
#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/runtime/core.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

using ov::preprocess::PrePostProcessor;

// The runtime's own exceptions are ov::Exception, with its text; others are std::exception only.
TEST(OpenVinoBindingErrors, ThrowsWhatTheRuntimeThrows) {
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
  const std::vector<Case> cases = {
      {"no such file", [&] { core.read_model("nowhere.xml"); }, "Could not open the file"},
      {"no network", [&] { core.read_model("<nothing", ov::Tensor()); }, "Unable to read the model"},
      {"no such device", [&] { core.compile_model(two, "XPU"); }, "Device with \"XPU\" name is not registered"},
      {"property of no device", [&] { core.get_property("XPU", "FULL_DEVICE_NAME"); }, "is not registered"},
      {"no such property", [&] { core.get_property("CPU", "NONE"); }, "Cannot get unsupported property: NONE"},
      {"setting it",
       [&] {
         core.set_property("CPU", ov::AnyMap{{"NONE", "1"}});
       },
       "Unsupported property NONE"},
      {"no number", [&] { core.get_property("CPU", "FULL_DEVICE_NAME").as<int>(); }, "Could not convert"},
      {"no such input", [&] { two->input("x"); }, "Input for tensor name 'x' is not found"},
      {"index of an input", [&] { two->input(5); }, "", false},
      {"index of an output", [&] { two->output(5); }, "", false},
      {"one input of two", [&] { two->input(); }, "input() must be called on a Model with exactly one parameter"},
      {"one shape for two",
       [&] {
         two->reshape(ov::PartialShape{1, 3, 4, 6});
       },
       "must be called on"},
      {"a size not known", [&] { static_cast<void>(any_size->input().get_shape()); }, "to_shape was called on a dynamic shape"},
      {"dimension not there", [&] { any_size->input().get_partial_shape()[7].is_static(); }, "out-of-range"},
      {"length of a shape not there", [&] { static_cast<void>(bytes.get_shape().at(7)); }, "out-of-range"},
      {"layout", [&] { ov::Layout("N@"); }, "Layout name is invalid"},
      {"pre-processing of no input", [&] { PrePostProcessor(two).input("x"); }, "Model doesn't have input with name x"},
      {"empty tensor", [&] { static_cast<void>(ov::Tensor().get_shape()); }, "Tensor was not initialized."},
      {"bytes as numbers", [&] { static_cast<void>(bytes.data<float>()); }, "type u8, is not representable as pointer to f32"},
      {"empty request", [&] { ov::InferRequest().infer(); }, "InferRequest was not initialized."},
      {"setting one's input", [&] { ov::InferRequest().set_input_tensor(bytes); }, "InferRequest was not initialized."},
      {"no compiled network", [&] { ov::CompiledModel().create_infer_request(); }, "CompiledModel was not initialized."},
      {"input by index", [&] { request.set_input_tensor(5, bytes); }, "Input port for index 5 was not found"},
      {"wrong type", [&] { request.set_input_tensor(bytes); }, "Failed to set tensor for input with precision: u8"},
      {"wrong size",
       [&] {
         request.set_input_tensor(ov::Tensor(ov::element::f32, {1, 3, 2, 3}));
       },
       "incompatible"},
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
