#include "kernel_launcher.h"

#include "gpufilters/displacement_tables.h"
#include "gpufilters/program_text.h"
#include "photo_like_picture.h"
#include "plain_kernels.h"

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <vector>

namespace vorin::bench {

namespace {

constexpr int kRadius = 4; // of the blur and of the displacement

void require(cl_int result, const char* what) {
  if (result != CL_SUCCESS) {
    std::cerr << what << " failed: OpenCL error " << result << "\n";
    std::exit(EXIT_FAILURE);
  }
}

cl::Device firstDevice() {
  std::vector<cl::Platform> platforms;
  cl::Platform::get(&platforms);
  for (const cl::Platform& platform : platforms) {
    std::vector<cl::Device> devices;
    platform.getDevices(CL_DEVICE_TYPE_ALL, &devices);
    if (!devices.empty()) {
      return devices.front();
    }
  }
  require(CL_DEVICE_NOT_FOUND, "looking for an OpenCL device");
  return {};
}

// Half of the smallest power of two whose square reaches the device's limit.
int workGroupEdge(const cl::Device& device) {
  const auto limit = device.getInfo<CL_DEVICE_MAX_WORK_GROUP_SIZE>();
  int edge = 1;
  while (static_cast<std::size_t>(edge) * static_cast<std::size_t>(edge) < limit) {
    edge *= 2;
  }
  return edge / 2;
}

int roundUp(int size, int multiple) {
  return (size + multiple - 1) / multiple * multiple;
}

std::vector<float> gaussianWeights() {
  std::vector<float> weights;
  for (int i = -kRadius; i <= kRadius; ++i) {
    weights.push_back(static_cast<float>(std::exp(i * -0.5 * i / 25.0) * 0.39894 / 5.0));
  }
  return weights;
}

} // namespace

KernelLauncher& KernelLauncher::instance() {
  static KernelLauncher launcher;
  return launcher;
}

KernelLauncher::KernelLauncher()
    : device_(firstDevice()), context_(device_), queue_(context_, device_),
      program_(context_, cl::Program::Sources{gpufilters::kProgramText, kPlainKernelText}),
      sampler_(context_, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_NEAREST), edge_(workGroupEdge(device_)),
      padded_width_(roundUp(kWidth, edge_)), padded_height_(roundUp(kHeight, edge_)) {
  require(program_.build({device_}), "building the kernels");
  const cl::ImageFormat format(CL_BGRA, CL_UNORM_INT8);
  const auto width = static_cast<std::size_t>(padded_width_);
  const auto height = static_cast<std::size_t>(padded_height_);
  source_ = cl::Image2D(context_, CL_MEM_READ_ONLY, format, width, height);
  destination_ = cl::Image2D(context_, CL_MEM_WRITE_ONLY, format, width, height);
  const std::vector<std::uint8_t> picture = photoLikePicture(kWidth, kHeight);
  require(queue_.enqueueWriteImage(source_, CL_TRUE, {0, 0, 0}, {kWidth, kHeight, 1}, 0, 0, picture.data()), "the upload");
  weights_ = table(gaussianWeights());
  const gpufilters::DisplacementTables displacements = gpufilters::buildDisplacementTables(width * height, kRadius);
  random_x_ = table(displacements.x);
  random_y_ = table(displacements.y);
}

template <typename T> cl::Buffer KernelLauncher::table(std::vector<T> values) {
  cl_int result = CL_SUCCESS;
  cl::Buffer buffer(context_, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, values.size() * sizeof(T), values.data(), &result);
  require(result, "a table's upload");
  return buffer;
}

cl::Kernel KernelLauncher::kernelOnImages(const char* name) {
  cl_int result = CL_SUCCESS;
  cl::Kernel kernel(program_, name, &result);
  require(result, name);
  require(kernel.setArg(0, source_), name);
  require(kernel.setArg(1, destination_), name);
  require(kernel.setArg(2, sampler_), name);
  return kernel;
}

cl::Kernel KernelLauncher::copyKernel() {
  return kernelOnImages("copy_image");
}

cl::Kernel KernelLauncher::pencilSketchKernel(const char* name) {
  cl::Kernel kernel = kernelOnImages(name);
  require(kernel.setArg(3, kWidth), name);
  require(kernel.setArg(4, kHeight), name);
  require(kernel.setArg(5, weights_), name);
  require(kernel.setArg(6, kRadius), name);
  return kernel;
}

cl::Kernel KernelLauncher::stipplingKernel(const char* name) {
  cl::Kernel kernel = kernelOnImages(name);
  require(kernel.setArg(3, padded_width_), name);
  require(kernel.setArg(4, padded_height_), name);
  require(kernel.setArg(5, random_x_), name);
  require(kernel.setArg(6, random_y_), name);
  require(kernel.setArg(7, kRadius), name);
  return kernel;
}

void KernelLauncher::run(const cl::Kernel& kernel) {
  const cl::NDRange global(static_cast<std::size_t>(padded_width_), static_cast<std::size_t>(padded_height_));
  const cl::NDRange local(static_cast<std::size_t>(edge_), static_cast<std::size_t>(edge_));
  require(queue_.enqueueNDRangeKernel(kernel, cl::NullRange, global, local), "the launch");
  require(queue_.finish(), "the kernel");
}

} // namespace vorin::bench
