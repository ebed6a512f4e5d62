// Runs one of the library's kernels as the engine does, but with a work-group edge of the test's choice: the engine's own edge is
// the device's.
#pragma once

#include "gpufilters/opencl_handles.h"
#include "support/guarded_buffer.h"
#include "support/opencl_pictures.h"

#include <cstdint>
#include <vector>

namespace vorin::tests {

class KernelLaunch {
public:
  // Takes the first OpenCL device there is and builds the embedded program for it; throws std::runtime_error when that fails.
  KernelLaunch();

  // One frame; the device images are padded with 0 to multiples of `edge`. Throws std::runtime_error when a call fails.
  GuardedBuffer pencilSketch(const Picture& picture, int edge, const std::vector<float>& weights);
  GuardedBuffer stippling(const Picture& picture, int edge, const std::vector<std::uint8_t>& random_x,
                          const std::vector<std::uint8_t>& random_y);

private:
  cl::Image2D paddedImage(const Picture& picture, int edge, cl_mem_flags access);
  GuardedBuffer run(cl::Kernel& kernel, const Picture& picture, int edge);
  template <typename T> cl::Buffer table(const std::vector<T>& values);

  cl::Device device_;
  cl::Context context_;
  cl::CommandQueue queue_;
  cl::Program program_;
  cl::Sampler sampler_;
};

} // namespace vorin::tests
