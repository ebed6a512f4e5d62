// The pixel passes around a network at 960 x 540 against the literal loops. Before its first round each benchmark of the library
// compares its bytes with the literal loop's, and is skipped with an error when they differ.
#include "bench_names.h"
#include "literal_loops.h"
#include "neural/content_smoothing.h"
#include "photo_like_picture.h"
#include "pipeline/neural_output.h"
#include "pipeline/temporal_smoothing.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

namespace vorin::bench {
namespace {

constexpr int kNetworkWidth = 960;
constexpr int kNetworkHeight = 540;
constexpr const char* kEqual = "bytes equal";
constexpr const char* kUnequal = "the bytes differ from the literal loop's";

// A view into a larger picture, the way a camera sees a scene.
cv::Mat sceneAt(int x, int y) {
  std::vector<std::uint8_t> pixels = photoLikePicture(kWidth, kHeight);
  const cv::Mat bgra(kHeight, kWidth, CV_8UC4, pixels.data());
  cv::Mat bgr(kNetworkHeight, kNetworkWidth, CV_8UC3);
  cv::mixChannels(bgra(cv::Rect(x, y, kNetworkWidth, kNetworkHeight)), bgr, {0, 0, 1, 1, 2, 2});
  return bgr;
}

struct FramePair {
  cv::Mat previous;
  cv::Mat current;
};

// The camera has moved by 4 and 1 pixels: flat parts flicker with the sensor's noise, rims and texture change.
const FramePair& movingCamera() {
  static const FramePair pair = {sceneAt(100, 100), sceneAt(104, 101)};
  return pair;
}

// Nothing is where it was.
const FramePair& cut() {
  static const FramePair pair = {sceneAt(0, 0), sceneAt(kWidth - kNetworkWidth, kHeight - kNetworkHeight)};
  return pair;
}

using Smoothing = void (*)(cv::Mat& current, const cv::Mat& previous);

void timeSmoothing(benchmark::State& state, Smoothing smoothing, Smoothing literal, const FramePair& (*pair)()) {
  cv::Mat image = pair().current.clone();
  cv::Mat expected = image.clone();
  smoothing(image, pair().previous);
  literal(expected, pair().previous);
  if (std::memcmp(image.data, expected.data, expected.total() * expected.elemSize()) != 0) {
    state.SkipWithError(kUnequal);
    return;
  }
  for ([[maybe_unused]] const auto iteration : state) {
    state.PauseTiming();
    pair().current.copyTo(image);
    state.ResumeTiming();
    smoothing(image, pair().previous);
    benchmark::ClobberMemory();
  }
  state.SetLabel(kEqual);
}

// What a network gives for a picture: normalised planes that reach a little beyond black and white, as networks do.
std::vector<float> networkOutput() {
  const cv::Mat scene = sceneAt(100, 100);
  const std::size_t plane = scene.total();
  std::vector<float> planes(3 * plane);
  constexpr float kMeans[] = {0.406F, 0.456F, 0.485F};
  constexpr float kDeviations[] = {0.225F, 0.224F, 0.229F};
  for (std::size_t index = 0; index < plane; ++index) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const float value = static_cast<float>(scene.data[3 * index + channel]) * (1.2F / 255.0F) - 0.1F;
      planes[channel * plane + index] = (value - kMeans[channel]) / kDeviations[channel];
    }
  }
  return planes;
}

void transferOutput(float* planes, std::vector<float>& /*merged*/, cv::Mat& byte_planes, cv::Mat& image) {
  transferOutputToImage(planes, kNetworkHeight, kNetworkWidth, byte_planes, image);
}

void literalOutput(float* planes, std::vector<float>& merged, cv::Mat& /*byte_planes*/, cv::Mat& image) {
  literalTransferOutput(planes, kNetworkHeight, kNetworkWidth, merged, image);
}

using Output = void (*)(float* planes, std::vector<float>& merged, cv::Mat& byte_planes, cv::Mat& image);

void timeTransferOutput(benchmark::State& state, Output output) {
  const std::vector<float> source = networkOutput();
  std::vector<float> planes = source;
  std::vector<float> literal_planes = source;
  std::vector<float> merged;
  cv::Mat byte_planes;
  cv::Mat image;
  cv::Mat expected;
  output(planes.data(), merged, byte_planes, image);
  literalOutput(literal_planes.data(), merged, byte_planes, expected);
  if (planes != literal_planes || std::memcmp(image.data, expected.data, source.size()) != 0) {
    state.SkipWithError(kUnequal);
    return;
  }
  for ([[maybe_unused]] const auto iteration : state) {
    state.PauseTiming();
    std::copy(source.begin(), source.end(), planes.begin());
    state.ResumeTiming();
    output(planes.data(), merged, byte_planes, image);
    benchmark::ClobberMemory();
  }
  state.SetLabel(kEqual);
}

BENCHMARK_CAPTURE(timeTransferOutput, ours, transferOutput)->Name(kTransferOutput)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeTransferOutput, literal, literalOutput)
    ->Name(kLiteralTransferOutput)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, content_moving, neural::smoothContent, literalContentSmoothing, movingCamera)
    ->Name(kContentSmoothingMoving)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, literal_content_moving, literalContentSmoothing, literalContentSmoothing, movingCamera)
    ->Name(kLiteralContentSmoothingMoving)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, content_cut, neural::smoothContent, literalContentSmoothing, cut)
    ->Name(kContentSmoothingCut)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, literal_content_cut, literalContentSmoothing, literalContentSmoothing, cut)
    ->Name(kLiteralContentSmoothingCut)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, output_moving, smoothOutput, literalOutputSmoothing, movingCamera)
    ->Name(kOutputSmoothingMoving)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, literal_output_moving, literalOutputSmoothing, literalOutputSmoothing, movingCamera)
    ->Name(kLiteralOutputSmoothingMoving)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, output_cut, smoothOutput, literalOutputSmoothing, cut)
    ->Name(kOutputSmoothingCut)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(timeSmoothing, literal_output_cut, literalOutputSmoothing, literalOutputSmoothing, cut)
    ->Name(kLiteralOutputSmoothingCut)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vorin::bench
