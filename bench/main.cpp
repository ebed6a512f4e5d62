// Runs the benchmarks, repeated and interleaved at random so that a busy moment of the machine meets both sides of a ratio, and
// prints the ratios of their medians. The exit status does not depend on the figures.
#include "neural_case.h"
#include "ratio_table.h"

#include <benchmark/benchmark.h>

#include <array>
#include <iostream>
#include <string>
#include <vector>

namespace vorin::bench {
namespace {

// The usual console output, and the medians for the table after it.
class MedianReporter : public benchmark::ConsoleReporter {
public:
  MedianReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& reports) override {
    ConsoleReporter::ReportRuns(reports);
    for (const Run& run : reports) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median" && !run.error_occurred) {
        const double per_second = benchmark::GetTimeUnitMultiplier(run.time_unit);
        medians_ms_[run.run_name.function_name] = run.GetAdjustedRealTime() / per_second * 1e3;
        for (const auto& [name, counter] : run.counters) {
          medians_ms_[run.run_name.function_name + '/' + name] = counter.value;
        }
      }
    }
  }

  const Medians& mediansMs() const { return medians_ms_; }

private:
  Medians medians_ms_;
};

} // namespace
} // namespace vorin::bench

int main(int argc, char** argv) {
  // These come before the command line's arguments, which therefore override them.
  std::array<std::string, 4> defaults = {"--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true",
                                         "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.1"};
  std::vector<char*> arguments = {argv[0]};
  for (std::string& option : defaults) {
    arguments.push_back(option.data());
  }
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 1;
  }
  vorin::bench::MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::cout << "\n";
  vorin::bench::printRatioTable(std::cout, reporter.mediansMs(), vorin::bench::computesInBf16());
  benchmark::Shutdown();
  return 0;
}
