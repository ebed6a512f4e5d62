// Times the displacement tables of a padded full HD frame: the library's, and a generator written as its definition says.
#include "bench_names.h"
#include "gpufilters/displacement_tables.h"

#include <benchmark/benchmark.h>

namespace vorin::bench {
namespace {

using gpufilters::DisplacementTables;

constexpr std::size_t kEntries = std::size_t{1920} * 1088;

std::uint32_t nextNumber(std::uint32_t& state) {
  state = state * 214013u + 2531011u;
  return (state >> 16) & 0x7FFFu;
}

DisplacementTables plainTables(std::size_t entries, int filter_radius) {
  DisplacementTables tables{std::vector<std::uint8_t>(entries), std::vector<std::uint8_t>(entries)};
  const auto divisor = static_cast<std::uint32_t>(2 * filter_radius + 1);
  for (std::size_t k = 0; k < entries; ++k) {
    auto state = static_cast<std::uint32_t>(k);
    tables.x[k] = static_cast<std::uint8_t>((nextNumber(state) & 255u) % divisor);
    tables.y[k] = static_cast<std::uint8_t>((nextNumber(state) & 255u) % divisor);
  }
  return tables;
}

template <typename Build> void timeTables(benchmark::State& state, Build build) {
  int radius = 4;
  for ([[maybe_unused]] const auto iteration : state) {
    benchmark::DoNotOptimize(radius); // hides the value from the optimiser: callers pass it at run time
    DisplacementTables tables = build(kEntries, radius);
    benchmark::DoNotOptimize(tables.x.data());
    benchmark::DoNotOptimize(tables.y.data());
  }
}

void libraryTables(benchmark::State& state) {
  timeTables(state, gpufilters::buildDisplacementTables);
}

void plainLoop(benchmark::State& state) {
  timeTables(state, plainTables);
}

BENCHMARK(libraryTables)->Name(kTables)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(plainLoop)->Name(kPlainTables)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vorin::bench
