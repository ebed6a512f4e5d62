// Prints what a program finds of GPUs: for the stand-ins' tests, which compare the answers of processes with and without them.
//
//   opencl <platform name>|<vendor>|<number of GPUs>      a line for each platform
//   openvino <device>|<full name>                          a line for each device
//   compiled <device>                                      when a network was compiled for "GPU" and gave the right result
//
// hardware_report FOLDER prints instead whether a compiled network comes back from the cache in the folder:
//   cached <device>
#define CL_TARGET_OPENCL_VERSION 120

#include <CL/cl.h>
#include <openvino/openvino.hpp>
#include <openvino/opsets/opset8.hpp>

#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string platformText(cl_platform_id platform, cl_platform_info name) {
  std::array<char, 256> text{};
  return clGetPlatformInfo(platform, name, text.size(), text.data(), nullptr) == CL_SUCCESS ? text.data() : "?";
}

void reportOpenCl() {
  std::array<cl_platform_id, 16> platforms{};
  cl_uint count = 0;
  clGetPlatformIDs(static_cast<cl_uint>(platforms.size()), platforms.data(), &count);
  for (cl_uint i = 0; i < count && i < platforms.size(); ++i) {
    cl_uint gpus = 0;
    clGetDeviceIDs(platforms[i], CL_DEVICE_TYPE_GPU, 0, nullptr, &gpus);
    std::cout << "opencl " << platformText(platforms[i], CL_PLATFORM_NAME) << '|'
              << platformText(platforms[i], CL_PLATFORM_VENDOR) << '|' << gpus << '\n';
  }
}

// The smallest network there is: it drops what is below 0.
bool computesOn(ov::Core& core, const std::string& device) {
  const auto input = std::make_shared<ov::opset8::Parameter>(ov::element::f32, ov::Shape{2});
  const auto output = std::make_shared<ov::opset8::Relu>(input);
  const auto model = std::make_shared<ov::Model>(ov::OutputVector{output}, ov::ParameterVector{input});
  ov::InferRequest request = core.compile_model(model, device).create_infer_request();
  auto* const values = request.get_input_tensor().data<float>();
  values[0] = -1.5F;
  values[1] = 2.5F;
  request.infer();
  const auto* const results = request.get_output_tensor().data<float>();
  return results[0] == 0.0F && results[1] == 2.5F;
}

// A chain of operations that processors run as one, of an operation of the plugin's own: with the plugin of "GPU" alone in use.
bool loadsFromCache(const std::string& cache_folder) {
  using ov::opset8::Constant;
  const auto input = std::make_shared<ov::opset8::Parameter>(ov::element::f32, ov::Shape{1, 3, 16, 16});
  const auto scale = Constant::create(ov::element::f32, {1, 3, 1, 1}, {2.0F, 3.0F, 4.0F});
  const auto scaled = std::make_shared<ov::opset8::Multiply>(input, scale);
  const auto squared = std::make_shared<ov::opset8::Multiply>(scaled, input);
  const auto output = std::make_shared<ov::opset8::Subtract>(squared, scale);
  const auto model = std::make_shared<ov::Model>(ov::OutputVector{output}, ov::ParameterVector{input});
  const auto compile = [&] {
    ov::Core core;
    core.set_property("GPU", ov::cache_dir(cache_folder));
    return core.compile_model(model, "GPU");
  };
  const bool before = compile().get_property(ov::loaded_from_cache);
  return !before && compile().get_property(ov::loaded_from_cache);
}

void reportOpenVino() {
  ov::Core core;
  for (const std::string& device : core.get_available_devices()) {
    std::cout << "openvino " << device << '|' << core.get_property(device, ov::device::full_name) << '\n';
  }
  if (computesOn(core, "GPU")) {
    std::cout << "compiled GPU\n";
  }
}

} // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 2) {
      std::cout << (loadsFromCache(argv[1]) ? "cached GPU\n" : "");
      return 0;
    }
    reportOpenCl();
    reportOpenVino();
  } catch (const std::exception&) {
    return 1; // no GPU: what was found is printed
  }
  return 0;
}
