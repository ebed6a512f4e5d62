#include "support/opencl_kernel_launch.h"

#include "gpufilters/program_text.h"
#include "support/opencl_filter_reference.h"

#include <stdexcept>
#include <string>

namespace vorin::tests {
namespace {

void check(cl_int result, const char* what) {
  if (result != CL_SUCCESS) {
    throw std::runtime_error(std::string(what) + " failed: " + std::to_string(result));
  }
}

} // namespace

KernelLaunch::KernelLaunch() {
  std::vector<cl::Platform> platforms;
  cl::Platform::get(&platforms);
  std::vector<cl::Device> devices;
  for (std::size_t i = 0; i < platforms.size() && devices.empty(); ++i) {
    platforms[i].getDevices(CL_DEVICE_TYPE_ALL, &devices);
  }
  if (devices.empty()) {
    throw std::runtime_error("no OpenCL device");
  }
  cl_int result = CL_SUCCESS;
  device_ = devices.front();
  context_ = cl::Context(device_, nullptr, nullptr, nullptr, &result);
  check(result, "context");
  queue_ = cl::CommandQueue(context_, device_, 0, &result);
  check(result, "queue");
  program_ = cl::Program(context_, std::string(gpufilters::kProgramText), false, &result);
  check(result, "program");
  check(program_.build(device_), program_.getBuildInfo<CL_PROGRAM_BUILD_LOG>(device_).c_str());
  sampler_ = cl::Sampler(context_, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_NEAREST, &result);
  check(result, "sampler");
}

cl::Image2D KernelLaunch::paddedImage(const Picture& picture, int edge, cl_mem_flags access) {
  Picture larger = padded(picture, edge);
  cl_int result = CL_SUCCESS;
  cl::Image2D image(context_, access | CL_MEM_COPY_HOST_PTR, cl::ImageFormat(CL_BGRA, CL_UNORM_INT8),
                    static_cast<std::size_t>(larger.width), static_cast<std::size_t>(larger.height), 0, larger.bytes.data(),
                    &result);
  check(result, "image");
  return image;
}

template <typename T> cl::Buffer KernelLaunch::table(const std::vector<T>& values) {
  cl_int result = CL_SUCCESS;
  std::vector<T> copy = values; // the wrapper takes a pointer to something that it could write
  cl::Buffer buffer(context_, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, copy.size() * sizeof(T), copy.data(), &result);
  check(result, "buffer");
  return buffer;
}

// Sets the arguments that all kernels begin with, launches, and reads the picture's part of the result.
GuardedBuffer KernelLaunch::run(cl::Kernel& kernel, const Picture& picture, int edge) {
  const cl::Image2D source = paddedImage(picture, edge, CL_MEM_READ_ONLY);
  const cl::Image2D destination = paddedImage(plainPicture(picture.width, picture.height, 0), edge, CL_MEM_WRITE_ONLY);
  check(kernel.setArg(0, source), "argument 0");
  check(kernel.setArg(1, destination), "argument 1");
  check(kernel.setArg(2, sampler_), "argument 2");
  const Picture larger = padded(picture, edge);
  check(queue_.enqueueNDRangeKernel(kernel, cl::NullRange,
                                    cl::NDRange(static_cast<std::size_t>(larger.width), static_cast<std::size_t>(larger.height)),
                                    cl::NDRange(static_cast<std::size_t>(edge), static_cast<std::size_t>(edge))),
        "launch");
  GuardedBuffer output(picture.bytes.size());
  check(queue_.enqueueReadImage(destination, CL_TRUE, {0, 0, 0},
                                {static_cast<std::size_t>(picture.width), static_cast<std::size_t>(picture.height), 1}, 0, 0,
                                output.data()),
        "read");
  return output;
}

GuardedBuffer KernelLaunch::pencilSketch(const Picture& picture, int edge, const std::vector<float>& weights) {
  cl::Kernel kernel(program_, "pencil_sketch");
  const cl::Buffer weight_buffer = table(weights);
  check(kernel.setArg(3, picture.width), "argument 3");
  check(kernel.setArg(4, picture.height), "argument 4");
  check(kernel.setArg(5, weight_buffer), "argument 5");
  check(kernel.setArg(6, static_cast<int>(weights.size() / 2)), "argument 6");
  return run(kernel, picture, edge);
}

GuardedBuffer KernelLaunch::stippling(const Picture& picture, int edge, const std::vector<std::uint8_t>& random_x,
                                      const std::vector<std::uint8_t>& random_y) {
  cl::Kernel kernel(program_, "stippling");
  const Picture larger = padded(picture, edge);
  const cl::Buffer x_buffer = table(random_x);
  const cl::Buffer y_buffer = table(random_y);
  check(kernel.setArg(3, larger.width), "argument 3");
  check(kernel.setArg(4, larger.height), "argument 4");
  check(kernel.setArg(5, x_buffer), "argument 5");
  check(kernel.setArg(6, y_buffer), "argument 6");
  check(kernel.setArg(7, kFilterRadius), "argument 7");
  return run(kernel, picture, edge);
}

} // namespace vorin::tests
