// Both filters, each by its functions of the engine and its plain computation.
#pragma once

#include "gpufilters/gpu_filter_engine.h"
#include "support/opencl_filter_reference.h"

namespace vorin::tests {

struct Filter {
  const char* name;
  _VorinStatus (gpufilters::GpuFilterEngine::*prepare)(std::int32_t, std::int32_t);
  _VorinStatus (gpufilters::GpuFilterEngine::*run)(const std::uint8_t*, std::uint8_t*);
  Picture (*plain)(const Picture&, int edge, EdgeCounts*);
  int kernel_arguments;
  int tables;
};

inline const Filter kPencilSketch = {"PencilSketch",
                                     &gpufilters::GpuFilterEngine::PreparePencilSketch,
                                     &gpufilters::GpuFilterEngine::RunPencilSketch,
                                     plainPencilSketch,
                                     7,
                                     1};
inline const Filter kStippling = {"Stippling",
                                  &gpufilters::GpuFilterEngine::PrepareStippling,
                                  &gpufilters::GpuFilterEngine::RunStippling,
                                  plainStippling,
                                  8,
                                  2};

} // namespace vorin::tests
