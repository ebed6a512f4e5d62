// The host side of stippling: one table of displacements for each axis, and the kernel's arguments.
#include "core/log.h"
#include "gpufilters/displacement_tables.h"
#include "gpufilters/gpu_filter_engine.h"

namespace vorin::gpufilters {

_VorinStatus GpuFilterEngine::PrepareStippling(std::int32_t width, std::int32_t height) {
  if (work_group_edge_ == 0) {
    return VORIN_STATUS_FAILED;
  }
  if (isPreparedFor(width, height, stippling_ready_)) {
    return VORIN_STATUS_OK;
  }
  const std::uint32_t entries = static_cast<std::uint32_t>(padded(width)) * static_cast<std::uint32_t>(padded(height));
  const DisplacementTables tables =
      buildDisplacementTables(entries, stippling_radius_); // first, like the pencil sketch's weights
  stippling_ready_ = true;
  storeSize(width, height);
  random_x_ = cl::Buffer();
  random_x_ = createTableBuffer(entries);
  random_y_ = cl::Buffer();
  random_y_ = createTableBuffer(entries);
  createImages();
  const cl_int x_result = uploadTable(random_x_, entries, tables.x.data());
  const cl_int y_result = uploadTable(random_y_, entries, tables.y.data()); // also when the first failed
  if (x_result != CL_SUCCESS || y_result != CL_SUCCESS) {
    sttLogInfo("Opencl failed[enqueueWriteBuffer]!");
    return VORIN_STATUS_FAILED;
  }
  return VORIN_STATUS_OK;
}

_VorinStatus GpuFilterEngine::RunStippling(const std::uint8_t* input, std::uint8_t* output) {
  // The kernel gets the padded size: its tables have a row for each row of the device images.
  return runKernel("stippling", input, output,
                   {argument(source_image_), argument(destination_image_), argument(sampler_), argument(padded_width_),
                    argument(padded_height_), argument(random_x_), argument(random_y_), argument(stippling_radius_)});
}

} // namespace vorin::gpufilters
