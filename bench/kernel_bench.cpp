// Times both filters' kernels, a copy of the image and the plain filters: launch and wait, nothing else.
#include "bench_names.h"
#include "kernel_launcher.h"

#include <benchmark/benchmark.h>

namespace vorin::bench {
namespace {

void timeLaunches(benchmark::State& state, const cl::Kernel& kernel) {
  KernelLauncher& launcher = KernelLauncher::instance();
  launcher.run(kernel); // OpenCL on a CPU compiles for the work-group's size at the first launch
  for ([[maybe_unused]] const auto iteration : state) {
    launcher.run(kernel);
  }
}

void copyImage(benchmark::State& state) {
  timeLaunches(state, KernelLauncher::instance().copyKernel());
}

void pencilSketch(benchmark::State& state) {
  timeLaunches(state, KernelLauncher::instance().pencilSketchKernel("pencil_sketch"));
}

void plainPencilSketch(benchmark::State& state) {
  timeLaunches(state, KernelLauncher::instance().pencilSketchKernel("plain_pencil_sketch"));
}

void stippling(benchmark::State& state) {
  timeLaunches(state, KernelLauncher::instance().stipplingKernel("stippling"));
}

void plainStippling(benchmark::State& state) {
  timeLaunches(state, KernelLauncher::instance().stipplingKernel("plain_stippling"));
}

BENCHMARK(copyImage)->Name(kCopyKernel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(pencilSketch)->Name(kPencilSketchKernel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(plainPencilSketch)->Name(kPlainPencilSketchKernel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stippling)->Name(kStipplingKernel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(plainStippling)->Name(kPlainStipplingKernel)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vorin::bench
