// Times whole frames of the neural styles with the trained networks of the demo package, 1920 x 1080 BGRA in and BGRA out:
// against the bare inference of the same network, and their time beyond inference in copies of the frame. The two sides take
// turns frame by frame. Style transfer's two smoothings are also timed alone, beside literal loops, to estimate a frame's time
// with those. Without a "GPU" of the inference runtime or its stand-in, or without the package, there is nothing to measure.
#include "bench_names.h"
#include "inference_clock.h"
#include "literal_smoothing.h"
#include "neural/content_smoothing.h"
#include "neural_case.h"
#include "photo_like_picture.h"
#include "pipeline/temporal_smoothing.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

namespace vorin::bench {
namespace {

constexpr NeuralCase kTransfer = {SttStyleTransfer, 2, kWidth, kHeight}; // the network of 960 x 540
constexpr NeuralCase kLightGrey = {SttStyleLightGrey, 0, 960, 540};
constexpr NeuralCase kCartoon = {SttStyleCartoon, 0, 960, 540};

constexpr int kTurns = 15; // of each side in one repetition
constexpr int kStyleEdge = 512;

template <typename Action> double elapsedMs(Action action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void mustBeOk(_VorinStatus status) {
  if (status != VORIN_STATUS_OK) {
    throw std::runtime_error("no trained networks (models/build), or no GPU of the inference runtime");
  }
}

using Smoothing = void (*)(cv::Mat& current, const cv::Mat& previous);

// Both sides of one case, ready to run.
class Sides {
public:
  explicit Sides(const NeuralCase& neural_case)
      : settings_(settingsOf(neural_case)), input_pixels_(photoLikePicture(kWidth, kHeight + 1)),
        output_pixels_(static_cast<std::size_t>(kWidth) * kHeight * 4) {
    mustBeOk(pipeline_.initPlugins(settings_));
    bare_ = std::make_unique<BareNetwork>(neural_case);
    std::vector<std::uint8_t> style_pixels = photoLikePicture(kStyleEdge, kStyleEdge);
    const SttFrame style = bgraFrame(style_pixels.data(), kStyleEdge, kStyleEdge);
    frame(&style);
    bare_->infer();
    copyFrame();
  }

  // The camera moves down and up by one row, so that both temporal smoothings have both kinds of pixels.
  void frame(const SttFrame* style = nullptr) {
    const std::size_t first_row = count_++ % 2;
    const SttFrame input = bgraFrame(input_pixels_.data() + first_row * kWidth * 4, kWidth, kHeight);
    SttFrame output = bgraFrame(output_pixels_.data(), 0, 0);
    mustBeOk(pipeline_.processFrame(settings_, input, style, output));
  }

  void bareInference() { bare_->infer(); }

  // Both smoothings of a frame at the size of the largest network, on a scene that moves like the frames.
  double smoothingMs(Smoothing content, Smoothing output) {
    double elapsed_ms = 0;
    for (const Smoothing smoothing : {content, output}) {
      scenes_[1].copyTo(smoothed_);
      elapsed_ms += elapsedMs([&] { smoothing(smoothed_, scenes_[0]); });
    }
    return elapsed_ms;
  }

  void copyFrame() { std::memcpy(copy_.data(), input_pixels_.data(), copy_.size()); }

private:
  // The input of a network of 960 x 540 pixels for the frame that begins with a row of the input.
  cv::Mat sceneAt(std::size_t first_row) {
    const cv::Mat frame(kHeight, kWidth, CV_8UC4, input_pixels_.data() + first_row * kWidth * 4);
    cv::Mat scene;
    cv::resize(frame, scene, cv::Size(kWidth / 2, kHeight / 2), 0, 0, cv::INTER_LINEAR);
    cv::cvtColor(scene, scene, cv::COLOR_BGRA2BGR);
    return scene;
  }

  StyleSettings settings_;
  FramePipeline pipeline_;
  std::unique_ptr<BareNetwork> bare_;
  std::vector<std::uint8_t> input_pixels_;
  std::array<cv::Mat, 2> scenes_ = {sceneAt(0), sceneAt(1)};
  cv::Mat smoothed_;
  std::vector<std::uint8_t> output_pixels_;
  std::vector<std::uint8_t> copy_ = std::vector<std::uint8_t>(static_cast<std::size_t>(kWidth) * kHeight * 4);
  std::size_t count_ = 0;
};

// Shared by all repetitions: loading a network needs a second.
Sides& sidesOf(const NeuralCase& neural_case) {
  static std::map<std::int32_t, std::unique_ptr<Sides>> sides;
  std::unique_ptr<Sides>& found = sides[neural_case.style_type];
  if (!found) {
    found = std::make_unique<Sides>(neural_case);
  }
  return *found;
}

void timeFrames(benchmark::State& state, const NeuralCase& neural_case) try {
  Sides& sides = sidesOf(neural_case);
  for ([[maybe_unused]] const auto iteration : state) {
    std::vector<double> frame_ms;
    std::vector<double> beyond_ms;
    std::vector<double> bare_ms;
    std::vector<double> copy_ms;
    std::vector<double> literal_frame_ms;
    for (int turn = 0; turn < kTurns; ++turn) {
      const bool is_bare_first = turn % 2 == 1; // the second one finds the caches as the first one left them
      if (is_bare_first) {
        bare_ms.push_back(elapsedMs([&] { sides.bareInference(); }));
      }
      const double inference_before = inferenceSeconds();
      frame_ms.push_back(elapsedMs([&] { sides.frame(); }));
      beyond_ms.push_back(frame_ms.back() - (inferenceSeconds() - inference_before) * 1e3);
      if (!is_bare_first) {
        bare_ms.push_back(elapsedMs([&] { sides.bareInference(); }));
      }
      copy_ms.push_back(elapsedMs([&] { sides.copyFrame(); }));
      const double literal_ms = sides.smoothingMs(literalContentSmoothing, literalOutputSmoothing);
      literal_frame_ms.push_back(frame_ms.back() + literal_ms - sides.smoothingMs(neural::smoothContent, smoothOutput));
    }
    state.SetIterationTime(median(frame_ms) / 1e3);
    state.counters[kBareInferenceMs] = median(bare_ms);
    state.counters[kBeyondInferenceMs] = median(beyond_ms);
    state.counters[kFrameCopyMs] = median(copy_ms);
    if (neural_case.style_type == SttStyleTransfer) { // the only style that is smoothed
      state.counters[kLiteralSmoothingFrameMs] = median(literal_frame_ms);
    }
  }
} catch (const std::exception& error) {
  state.SkipWithError(error.what());
}

// Times one engine's set-up with an empty cache of compiled networks, and then with the filled cache.
void timePrepare(benchmark::State& state, const NeuralCase& neural_case) try {
  const StyleSettings settings = settingsOf(neural_case);
  const auto prepareMs = [&] {
    FramePipeline pipeline; // its destructor is not timed
    return elapsedMs([&] { mustBeOk(pipeline.initPlugins(settings)); });
  };
  for ([[maybe_unused]] const auto iteration : state) {
    removeNetworkCache();
    state.counters[kColdCacheMs] = prepareMs();
    state.SetIterationTime(prepareMs() / 1e3);
  }
} catch (const std::exception& error) {
  state.SkipWithError(error.what());
}

void once(benchmark::internal::Benchmark* benchmark) {
  benchmark->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(timeFrames, transfer, kTransfer)->Name(kTransferFrame)->Apply(once);
BENCHMARK_CAPTURE(timeFrames, light_grey, kLightGrey)->Name(kLightGreyFrame)->Apply(once);
BENCHMARK_CAPTURE(timeFrames, cartoon, kCartoon)->Name(kCartoonFrame)->Apply(once);
BENCHMARK_CAPTURE(timePrepare, transfer, kTransfer)->Name(kTransferPrepare)->Apply(once);
BENCHMARK_CAPTURE(timePrepare, light_grey, kLightGrey)->Name(kLightGreyPrepare)->Apply(once);
BENCHMARK_CAPTURE(timePrepare, cartoon, kCartoon)->Name(kCartoonPrepare)->Apply(once);

} // namespace
} // namespace vorin::bench
