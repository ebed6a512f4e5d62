// The displacement tables of the stippling filter: for every pixel of the padded frame, which neighbour it is set against.
//
// Idea: entry k is what the C runtime's srand(k) and two calls of rand() give, low byte, modulo 2 * radius + 1. Every entry
// starts from its own index, so the generator's states are affine in k and need no loop that carries a state along; that makes
// the tables the same on every machine and lets them be filled many entries at a time. Source: the linear congruential generator
// of Microsoft's C runtime, state * 214013 + 2531011 with bits 16 to 30 as output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorin::gpufilters {

struct DisplacementTables {
  std::vector<std::uint8_t> x; // 0 ... 2 * filter_radius each; the kernel subtracts the radius
  std::vector<std::uint8_t> y;
};

// filter_radius is 0 or more. The low values are slightly more frequent than the high ones; that is part of the look.
DisplacementTables buildDisplacementTables(std::size_t entries, int filter_radius);

} // namespace vorin::gpufilters
