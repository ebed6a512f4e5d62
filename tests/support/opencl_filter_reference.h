// Pictures for the filters' tests, made from a fixed seed; and both filters as plain computations on the processor, from their
// definitions, in single precision. Nothing here is shared with the code under test.
#pragma once

#include "gpufilters/gpu_filter_engine.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorin::tests {

// Bytes blue, green, red, alpha; rows without padding.
struct Picture {
  int width = 0; // pixels
  int height = 0;
  std::vector<std::uint8_t> bytes;

  Picture(int width_, int height_, std::uint8_t value = 0)
      : width(width_), height(height_), bytes(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4, value) {}
  std::size_t offset(int x, int y) const { return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x) * 4; }
};

// A picture that reaches all branches of the filters: slow gradients, noise of several strengths, hard edges, areas of full black
// and full white, and alpha values of every size.
Picture testPicture(int width, int height, std::uint32_t seed);

// The picture in the top left corner of a larger one that is 0 elsewhere, each size raised to a multiple of `edge`.
Picture padded(const Picture& picture, int edge);

// Whether no byte differs by more than 1, and at most 1 byte in 10,000, or one pixel's three equal bytes, differ at all: the
// rounding of single-precision arithmetic in another order.
testing::AssertionResult isNearlyEqual(const std::uint8_t* actual, const Picture& expected);

// How many pixels of a picture reached each branch at the end of the filters, by the strength of its edges.
struct EdgeCounts {
  int weak = 0;   // below 0.15
  int middle = 0; // from 0.15 to 0.3
  int strong = 0; // above 0.3
};

// The filters of a picture, for device images whose sizes are multiples of `edge`. The sketch reads nothing beyond the picture,
// so that all four rims are alike; stippling does, where the device image is 0, and its displacements are those of the device
// image's size. `counts` may be null.
Picture plainPencilSketch(const Picture& picture, int edge, EdgeCounts* counts);
Picture plainStippling(const Picture& picture, int edge, EdgeCounts* counts);

// Entry k of the displacement tables for a radius: the first two numbers of the Windows C runtime's generator seeded with k,
// low byte, remainder.
struct Displacement {
  int x = 0;
  int y = 0;
};
Displacement plainDisplacement(std::uint32_t k, int radius);

constexpr int kFilterRadius = 4; // of both filters

// Both filters, each by its functions of the engine and its plain computation.
struct Filter {
  const char* name;
  std::int32_t style_type;
  int kernel_arguments;
  int tables;
  Picture (*plain)(const Picture&, int edge, EdgeCounts*);
  _VorinStatus (gpufilters::GpuFilterEngine::*prepare)(std::int32_t, std::int32_t);
  _VorinStatus (gpufilters::GpuFilterEngine::*run)(const std::uint8_t*, std::uint8_t*);
};

using Engine = gpufilters::GpuFilterEngine;
inline const Filter kPencilSketch = {
    "PencilSketch", SttStylePencilSketch, 7, 1, plainPencilSketch, &Engine::PreparePencilSketch, &Engine::RunPencilSketch};
inline const Filter kStippling = {"Stippling",          SttStyleStippling, 8, 2, plainStippling, &Engine::PrepareStippling,
                                  &Engine::RunStippling};

// For INSTANTIATE_TEST_SUITE_P, which names the cases by it.
inline std::string nameOfFilter(const testing::TestParamInfo<Filter>& info) {
  return info.param.name;
}

} // namespace vorin::tests
