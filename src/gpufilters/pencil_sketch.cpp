// The host side of the pencil sketch: a Gaussian weight table for the kernel's blur, and the kernel's arguments.
#include "core/log.h"
#include "gpufilters/gpu_filter_engine.h"

#include <cmath>
#include <vector>

namespace vorin::gpufilters {
namespace {

// Weights of a Gaussian of standard deviation 5 at the distances -radius .. radius. 0.39894 stands for 1 / sqrt(2 pi), and the
// sum is not 1: the kernel divides by it.
std::vector<float> gaussianWeights(std::int32_t radius) {
  const auto centre = static_cast<std::size_t>(radius);
  std::vector<float> weights(2 * centre + 1);
  for (std::size_t i = 0; i <= centre; ++i) {
    const auto distance = static_cast<float>(i);
    const double weight = std::exp(distance * -0.5 * distance / 25.0) * 0.39894 / 5.0;
    weights[centre - i] = static_cast<float>(weight);
    weights[centre + i] = static_cast<float>(weight);
  }
  return weights;
}

} // namespace

_VorinStatus GpuFilterEngine::PreparePencilSketch(std::int32_t width, std::int32_t height) {
  if (work_group_edge_ == 0) {
    return VORIN_STATUS_FAILED;
  }
  if (isPreparedFor(width, height, pencil_ready_)) {
    return VORIN_STATUS_OK;
  }
  const std::vector<float> weights = gaussianWeights(pencil_radius_); // first: if memory is short, the size stays untried
  pencil_ready_ = true;                                               // before the device can fail: a size is tried once
  storeSize(width, height);
  const std::size_t size_bytes = weights.size() * sizeof(float);
  filter_weights_ = cl::Buffer();
  filter_weights_ = createTableBuffer(size_bytes);
  createImages();
  if (uploadTable(filter_weights_, size_bytes, weights.data()) != CL_SUCCESS) {
    sttLogInfo("Opencl failed[enqueueWriteBuffer]!");
    return VORIN_STATUS_FAILED;
  }
  return VORIN_STATUS_OK;
}

_VorinStatus GpuFilterEngine::RunPencilSketch(const std::uint8_t* input, std::uint8_t* output) {
  return runKernel("pencil_sketch", input, output,
                   {argument(source_image_), argument(destination_image_), argument(sampler_), argument(width_),
                    argument(height_), argument(filter_weights_), argument(pencil_radius_)});
}

} // namespace vorin::gpufilters
