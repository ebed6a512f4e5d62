// The ratios that the library promises, as data, and the table of them that a run prints.
//
// Idea: absolute times mean little on a machine that also does other work; the ratio of two medians of one interleaved run
// measures the code. A new promise is one row in ratio_table.cpp.
#pragma once

#include <map>
#include <ostream>
#include <string>

namespace vorin::bench {

enum class Bound { kAtMost, kAtLeast };

// A measured time: a benchmark's own, or that of one of its counters. Names are those of bench_names.h.
struct Side {
  constexpr Side(const char* benchmark_name, const char* counter_name = nullptr)
      : benchmark(benchmark_name), counter(counter_name) {}

  const char* benchmark;
  const char* counter;
};

// A limit that may depend on the number format of networks.
struct Limit {
  constexpr Limit(double in_both) : in_f32(in_both), in_bf16(in_both) {}
  constexpr Limit(double f32, double bf16) : in_f32(f32), in_bf16(bf16) {}

  double in_f32;
  double in_bf16;
};

// This side over the other, against the limit.
struct RatioRow {
  const char* what;
  Side this_side;
  Side other_side;
  Bound bound;
  Limit limit;
};

// Medians in milliseconds by benchmark name, and by benchmark name, slash and counter name.
using Medians = std::map<std::string, double>;

// Rows whose benchmarks did not run, or failed, say so.
void printRatioTable(std::ostream& out, const Medians& medians_ms, bool networks_in_bf16);

} // namespace vorin::bench
