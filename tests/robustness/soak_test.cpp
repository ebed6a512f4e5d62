// Frames without end: what a process holds must not grow with their number.
#include "support/media_way.h"
#include "sweep.h"

#include <malloc.h>
#include <map>

namespace vorin::media {
namespace {

using namespace tests;

template <typename Iterator> double entriesIn(const fs::path& folder) {
  return static_cast<double>(std::distance(Iterator(folder), Iterator()));
}

std::map<std::string, double> holdings() {
  const struct mallinfo2 heap = mallinfo2();
  return {{"bytes of heap", static_cast<double>(heap.uordblks + heap.hblkhd)},
          {"descriptors", entriesIn<fs::directory_iterator>("/proc/self/fd")},
          {"threads", entriesIn<fs::directory_iterator>("/proc/self/task")},
          {"files", entriesIn<fs::recursive_directory_iterator>(std::getenv("XDG_CACHE_HOME"))}};
}

// Per step, from the least value of the first half to that of the second.
double slopeOf(const std::vector<double>& values) {
  const auto half = static_cast<std::ptrdiff_t>(values.size() / 2);
  return (*std::min_element(values.begin() + half, values.end()) - *std::min_element(values.begin(), values.begin() + half)) /
         static_cast<double>(half);
}

// A round is a new Restyler with all its styles, and an image file read and written for each. All of it is done on one thread:
// OpenCV keeps a record, 0.9 KB, of each thread that has worked with pictures, and run() has such a thread.
TEST(Soak, HoldsNoMoreAfterManyRounds) {
  Sweep sweep("soak, rounds");
  const TemporaryFolder folder;
  const TestPackage package = sweepPackage();
  const fs::path image = folder.path() / "in.png";
  writeChanging(image, {80, 60});
  const auto round = [&] {
    Restyler restyler(softwareOptions(Style::kPencilSketch, package.folder()));
    for (const Style style : {Style::kPencilSketch, Style::kStippling, Style::kLightGrey, Style::kCartoon, Style::kTransfer}) {
      const auto source = openSource(image);
      Frame frame = std::get<Frame>(*source->next());
      restyler.setStyle(style);
      restyler.setStyleImage(frame.picture);
      frame.picture = restyler.restyle(frame.picture);
      const auto sink = openSink(folder.path() / "out.png", source->info(), frame.picture.size(), {.overwrite = true});
      sink->write(std::move(frame));
      sink->finish();
    }
  };
  constexpr int kWarmUp = 10;
  const int rounds = 30 * longerBy();
  std::map<std::string, std::vector<double>> seen;
  for (int number = 0; number < kWarmUp + rounds; ++number) {
    sweep.begin(std::to_string(number));
    round();
    for (const auto& [what, value] : holdings()) {
      seen[what].reserve(static_cast<std::size_t>(kWarmUp + rounds));
      seen[what].push_back(value);
    }
  }
  for (const auto& [what, values] : seen) {
    const double slope = slopeOf({values.begin() + kWarmUp, values.end()});
    sweep.note(what + " " + std::to_string(static_cast<long>(values.back())) + ", " + std::to_string(slope) + " a round");
    constexpr double kBytesARound = 4000; // a picture that stays has 19,200
    sweep.require(slope < (what == "bytes of heap" ? kBytesARound : 0.05), what + " grow");
  }
}

} // namespace
} // namespace vorin::media
