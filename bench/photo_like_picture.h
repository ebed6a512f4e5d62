// A picture with the features of photographs: smooth shading, large shapes with sharp rims, fine texture and sensor noise. It is
// the same on every machine.
#pragma once

#include <cstdint>
#include <vector>

namespace vorin::bench {

// The frame size of all benchmarks, pixels.
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

// Rows of width * 4 bytes: blue, green, red, alpha.
std::vector<std::uint8_t> photoLikePicture(int width, int height);

} // namespace vorin::bench
