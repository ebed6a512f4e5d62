// Times NV12 and YUY2 output of a full HD frame against the colour conversion that is part of it.
#include "bench_names.h"
#include "photo_like_picture.h"
#include "pipeline/pixel_format.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace vorin::bench {
namespace {

cv::Mat bgraPicture() {
  std::vector<std::uint8_t> pixels = photoLikePicture(kWidth, kHeight);
  return cv::Mat(kHeight, kWidth, CV_8UC4, pixels.data()).clone();
}

cv::Mat bgrPicture() {
  cv::Mat bgr;
  cv::cvtColor(bgraPicture(), bgr, cv::COLOR_BGRA2BGR);
  return bgr;
}

using ToHost = void (*)(SttFrame&, const cv::Mat&, PixelFormatBuffers&);

void timeOutput(benchmark::State& state, ToHost to_host, const cv::Mat& result, SttPixelFormat format) {
  std::vector<std::uint8_t> host(std::size_t{kWidth} * kHeight * 4);
  PixelFormatBuffers buffers;
  for ([[maybe_unused]] const auto iteration : state) {
    SttFrame output{};
    output.data = host.data();
    output.pixelFormat = format;
    output.pitch = kWidth; // for NV12; YUY2 ignores it
    to_host(output, result, buffers);
    benchmark::ClobberMemory();
  }
}

void timeColour(benchmark::State& state, const cv::Mat& picture, int code) {
  cv::Mat converted;
  for ([[maybe_unused]] const auto iteration : state) {
    cv::cvtColor(picture, converted, code);
    benchmark::ClobberMemory();
  }
}

void neuralToNv12(benchmark::State& state) {
  timeOutput(state, neuralOutputToHost, bgrPicture(), VORIN_FMT_NV12);
}

void neuralToYuy2(benchmark::State& state) {
  timeOutput(state, neuralOutputToHost, bgrPicture(), VORIN_FMT_YUY2);
}

void filterToNv12(benchmark::State& state) {
  timeOutput(state, filterOutputToHost, bgraPicture(), VORIN_FMT_NV12);
}

void filterToYuy2(benchmark::State& state) {
  timeOutput(state, filterOutputToHost, bgraPicture(), VORIN_FMT_YUY2);
}

void colourBgrToI420(benchmark::State& state) {
  timeColour(state, bgrPicture(), cv::COLOR_BGR2YUV_I420);
}

void colourBgraToI420(benchmark::State& state) {
  timeColour(state, bgraPicture(), cv::COLOR_BGRA2YUV_I420);
}

void colourRgbToYuv(benchmark::State& state) {
  timeColour(state, bgrPicture(), cv::COLOR_RGB2YUV);
}

BENCHMARK(neuralToNv12)->Name(kNeuralToNv12)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(neuralToYuy2)->Name(kNeuralToYuy2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(filterToNv12)->Name(kFilterToNv12)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(filterToYuy2)->Name(kFilterToYuy2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(colourBgrToI420)->Name(kColourBgrToI420)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(colourBgraToI420)->Name(kColourBgraToI420)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(colourRgbToYuv)->Name(kColourRgbToYuv)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vorin::bench
