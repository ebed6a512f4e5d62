// Objects of all styles, two of style 0, each on a thread of its own: each gives what it gives alone. Under ThreadSanitizer a
// race between them is a fault too (scripts/robustness --long).
#include "host.h"

#include <thread>

namespace vorin {
namespace {

using namespace tests;

TEST(Threads, SixObjectsGiveWhatEachGivesAlone) {
  Sweep sweep("frames of 6 objects on 6 threads");
  const TestPackage package = sweepPackage();
  const int frames = 100 * longerBy();
  std::vector<Host> hosts;
  std::vector<std::string> expected;
  for (std::size_t index = 0; index <= kAllStyles.size(); ++index) {
    const std::int32_t style = kAllStyles.at(index % kAllStyles.size());
    Host alone(style, package.folder());
    ASSERT_TRUE(alone.prepare());
    expected.push_back(alone.frames(frames));
    hosts.emplace_back(style, package.folder());
    ASSERT_TRUE(hosts.back().prepare());
  }
  std::vector<std::string> results(hosts.size());
  {
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < hosts.size(); ++index) {
      threads.emplace_back([&, index] { results[index] = hosts[index].frames(frames); });
    }
  }
  for (std::size_t index = 0; index < hosts.size(); ++index) {
    for (int number = 0; number < frames; ++number) {
      sweep.begin("style " + std::to_string(index % kAllStyles.size()) + ", frame " + std::to_string(number));
      const std::size_t bytes = expected[index].size() / static_cast<std::size_t>(frames);
      const std::size_t place = bytes * static_cast<std::size_t>(number);
      sweep.require(results[index].compare(place, bytes, expected[index], place, bytes) == 0, "other bytes than alone");
    }
  }
}

} // namespace
} // namespace vorin
