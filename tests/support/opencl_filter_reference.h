// Both filters as plain computations on the processor, written out from their definitions, in single precision as the filters are
// defined; nothing here is shared with the code under test.
#pragma once

#include "support/opencl_pictures.h"

namespace vorin::tests {

// How much of a picture took each way at the end of the filters, by the strength of its edges.
struct EdgeCounts {
  int weak = 0;   // below 0.15
  int middle = 0; // in between
  int strong = 0; // above 0.3
};

// The pencil sketch of a picture. It reads nothing beyond the picture, so that all four rims are alike.
Picture plainPencilSketch(const Picture& picture, EdgeCounts* counts = nullptr);

// The stippling of a picture, for device images whose sizes are multiples of `edge`: it reads beyond the picture, where the
// device image is 0, and its displacements are those of the device image's size.
Picture plainStippling(const Picture& picture, int edge, EdgeCounts* counts = nullptr);

// Entry k of the displacement tables for a radius: the first two numbers of the Windows C runtime's generator seeded with k,
// low byte, remainder.
struct Displacement {
  int x = 0;
  int y = 0;
};
Displacement plainDisplacement(std::uint32_t k, int radius);

// The weights of the pencil sketch's blur.
std::vector<float> plainWeights(int radius);

constexpr int kFilterRadius = 4; // of both filters

} // namespace vorin::tests
