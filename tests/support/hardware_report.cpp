// Prints what a program finds of GPUs: for the stand-ins' tests, which compare the answers of processes with and without them.
//
//   opencl <platform name>|<vendor>|<number of GPUs>      a line for each platform
//   openvino <device>|<full name>                          a line for each device
//   compiled <device>                                      when a network was compiled for "GPU" and gave the right result
//
// hardware_report FOLDER prints instead whether a compiled network comes back from the cache in the folder:
//   cached <device>
#define CL_TARGET_OPENCL_VERSION 120

#include "support/ir_network.h"

#include <CL/cl.h>
#include <openvino/openvino.hpp>

#include <algorithm>
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

std::shared_ptr<ov::Model> modelOf(ov::Core& core, const vorin::tests::IrNetwork& network) {
  ov::Tensor weights(ov::element::u8, {network.weights().size()});
  std::copy(network.weights().begin(), network.weights().end(), weights.data<std::uint8_t>());
  return core.read_model(network.description(), weights);
}

// A network of one operation: it doubles its input.
bool computesOn(ov::Core& core, const std::string& device) {
  vorin::tests::IrNetwork network;
  const auto input = network.input({"input"}, "2");
  network.output(network.operation("Multiply", {input, network.constant("1", std::vector<float>{2})}));
  ov::InferRequest request = core.compile_model(modelOf(core, network), device).create_infer_request();
  auto* const values = request.get_input_tensor().data<float>();
  values[0] = -1.5F;
  values[1] = 2.5F;
  request.infer();
  const auto* const results = request.get_output_tensor().data<float>();
  return results[0] == -3.0F && results[1] == 5.0F;
}

// A chain of operations that processors run as one, of an operation of the plugin's own: with the plugin of "GPU" alone in use.
bool loadsFromCache(const std::string& cache_folder) {
  vorin::tests::IrNetwork network;
  const auto input = network.input({"input"}, "1,3,16,16");
  const auto scale = network.constant("1,3,1,1", std::vector<float>{2, 3, 4});
  const auto scaled = network.operation("Multiply", {input, scale});
  const auto squared = network.operation("Multiply", {scaled, input});
  network.output(network.operation("Subtract", {squared, scale}));
  const auto compile = [&] {
    ov::Core core;
    core.set_property("GPU", ov::cache_dir(cache_folder));
    return core.compile_model(modelOf(core, network), "GPU");
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
