// Times a whole frame through the pipeline in the pencil style, BGRA in and out. Its time beyond the kernel is counted in copies
// of the frame, made by turns with it, so that they too find their pixels outside the caches. Needs a GPU of the supported vendor
// or its stand-in; without one the frame would be measured as a failure, so it is left out.
#include "bench_names.h"
#include "kernel_launcher.h"
#include "photo_like_picture.h"
#include "pipeline/frame_pipeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <vector>

namespace vorin::bench {
namespace {

SttFrame bgraFrame(std::vector<std::uint8_t>& pixels) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = pixels.data();
  frame.pixelFormat = VORIN_FMT_BGRA;
  frame.width = kWidth;
  frame.height = kHeight;
  frame.pitch = kWidth * 4;
  return frame;
}

constexpr int kTurns = 12; // each a frame, a launch and a copy, for one difference

template <typename Action> double elapsedSeconds(Action action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void frameBeyondKernel(benchmark::State& state) {
  StyleSettings settings;
  settings.style_type = SttStylePencilSketch;
  settings.style_index = 0;
  settings.width = kWidth;
  settings.height = kHeight;
  FramePipeline pipeline;
  std::vector<std::uint8_t> input_pixels = photoLikePicture(kWidth, kHeight);
  std::vector<std::uint8_t> output_pixels(input_pixels.size());
  const SttFrame input = bgraFrame(input_pixels);
  SttFrame output = bgraFrame(output_pixels);
  if (pipeline.initPlugins(settings) != VORIN_STATUS_OK ||
      pipeline.processFrame(settings, input, nullptr, output) != VORIN_STATUS_OK || output_pixels[3] != 255) {
    state.SkipWithError("no OpenCL GPU of the supported vendor"); // a failed filter leaves black of alpha 0
    return;
  }
  KernelLauncher& launcher = KernelLauncher::instance();
  const cl::Kernel kernel = launcher.pencilSketchKernel("pencil_sketch");
  launcher.run(kernel);
  std::vector<std::uint8_t> copy(input_pixels.size());
  for ([[maybe_unused]] const auto iteration : state) {
    double frame_seconds = std::numeric_limits<double>::max();
    double kernel_seconds = std::numeric_limits<double>::max();
    double copy_seconds = std::numeric_limits<double>::max();
    for (int turn = 0; turn < kTurns; ++turn) {
      frame_seconds = std::min(
          frame_seconds, elapsedSeconds([&] { static_cast<void>(pipeline.processFrame(settings, input, nullptr, output)); }));
      kernel_seconds = std::min(kernel_seconds, elapsedSeconds([&] { launcher.run(kernel); }));
      copy_seconds = std::min(copy_seconds, elapsedSeconds([&] {
                                std::memcpy(copy.data(), input_pixels.data(), copy.size());
                                benchmark::DoNotOptimize(copy.data());
                              }));
    }
    state.SetIterationTime(frame_seconds - kernel_seconds);
    state.counters[kFrameCopyMs] = copy_seconds * 1e3;
  }
}

BENCHMARK(frameBeyondKernel)->Name(kFrameBeyondKernel)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vorin::bench
