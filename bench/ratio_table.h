// The ratios that the library promises, as data, and the table that a run prints of them.
//
// Idea: absolute times say little about a machine that does other things as well; two medians of one interleaved run, divided,
// say what the code is worth. A new promise is one row in ratio_table.cpp.
#pragma once

#include <map>
#include <ostream>
#include <string>

namespace vorin::bench {

enum class Bound { kAtMost, kAtLeast };

// This side over the other, against the limit. Names are those of bench_names.h.
struct RatioRow {
  const char* what;
  const char* this_side;
  const char* other_side;
  Bound bound;
  double limit;
};

// Medians by benchmark name, in milliseconds.
using Medians = std::map<std::string, double>;

// Rows whose benchmarks did not run, or failed, say so.
void printRatioTable(std::ostream& out, const Medians& medians_ms);

} // namespace vorin::bench
