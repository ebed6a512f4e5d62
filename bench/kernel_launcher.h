// An OpenCL kernel on a device with all its arguments set, so that a benchmark times only the launch.
#pragma once

#include "gpufilters/opencl_handles.h"

#include <vector>

namespace vorin::bench {

// Uses the first OpenCL device, of any vendor and kind. Errors end the program: a benchmark of a failed launch
// would look fast.
class KernelLauncher {
public:
  // The launcher of this process; made, with the picture uploaded, on first use.
  static KernelLauncher& instance();

  // A kernel of the library or of plain_kernels.cl, with its arguments set.
  cl::Kernel copyKernel();
  cl::Kernel pencilSketchKernel(const char* name);
  cl::Kernel stipplingKernel(const char* name);

  // Launches the kernel over the padded image and waits until it is done.
  void run(const cl::Kernel& kernel);

private:
  KernelLauncher();

  cl::Kernel kernelOnImages(const char* name);
  template <typename T> cl::Buffer table(std::vector<T> values);

  cl::Device device_;
  cl::Context context_;
  cl::CommandQueue queue_;
  cl::Program program_;
  cl::Sampler sampler_;
  int edge_ = 1; // of a work-group, by the library's rule
  int padded_width_ = 0;
  int padded_height_ = 0;
  cl::Image2D source_;
  cl::Image2D destination_;
  cl::Buffer weights_;
  cl::Buffer random_x_;
  cl::Buffer random_y_;
};

} // namespace vorin::bench
