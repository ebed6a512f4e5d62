// Networks prepared by Restylers in several processes at once, in processes that are killed, from a damaged cache, and from
// packages that somebody changed. The program runs itself: `vorin_robustness_tests prepare FOLDER THREADS ROUNDS`.
#include "support/child_process.h"
#include "support/media_way.h"
#include "sweep.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <random>
#include <thread>

namespace vorin::media {
namespace {

using namespace tests;

constexpr Size kSize = {64, 48};
constexpr std::uint8_t kBright = 200;

// Bright pixels in the upper half, dark ones in the lower.
Picture twoLevels() {
  Picture picture(PixelLayout::kBgra, kSize);
  std::fill_n(picture.pixels(), picture.byteCount() / 2, kBright);
  return picture;
}

// The networks answer gain x input, where 127.5 is 0 and 127.5 levels are 1; light grey then stretches the levels to black and
// white.
bool isRight(const Picture& result, Style style) {
  const double expected = style == Style::kCartoon ? 127.5 + 0.8 * (kBright - 127.5) : 255;
  const std::uint8_t* const pixel = result.pixels() + result.byteCount() / 4;
  return result.size() == kSize && std::all_of(pixel, pixel + 3, [&](int level) { return std::abs(level - expected) <= 1; });
}

int prepareAndRestyle(const std::string& folder, int threads, int rounds) {
  std::atomic<int> failures = 0;
  std::vector<std::thread> workers(static_cast<std::size_t>(threads));
  for (int thread = 0; thread < threads; ++thread) {
    workers[static_cast<std::size_t>(thread)] = std::thread([&, style = thread % 2 == 0 ? Style::kCartoon : Style::kLightGrey] {
      for (int round = 0; round < rounds; ++round) {
        try {
          Restyler restyler(softwareOptions(style, folder));
          failures += isRight(restyler.restyle(twoLevels()), style) ? 0 : 1;
        } catch (const std::exception& error) {
          std::cerr << error.what() << '\n';
          ++failures;
        }
      }
    });
  }
  for (std::thread& worker : workers) {
    worker.join();
  }
  std::cout << "failures: " << failures << '\n';
  return failures == 0 ? 0 : 1;
}

class Preparing : public testing::Test {
protected:
  ChildProcess start(int threads, int rounds) const {
    return {{programFile().string(), "prepare", package_.folder(), std::to_string(threads), std::to_string(rounds)},
            {.working_folder = {}, .variables = {{"XDG_CACHE_HOME", cache_.path().string()}}}};
  }
  void requireSuccess(Sweep& sweep, ChildProcess&& process) const {
    const ChildResult result = process.wait();
    sweep.require(result.exit_status == 0, result.standard_output + result.standard_error);
  }
  fs::path own() const { return cache_.path() / "vorin-stt"; }
  // No unpacked network stays behind a preparation that ended.
  bool isTidy() const {
    const std::set<std::string> names = namesIn(own());
    return std::none_of(names.begin(), names.end(), [](const std::string& name) { return name.find('.') != std::string::npos; });
  }

  TemporaryFolder cache_;
  TestPackage package_ = sweepPackage();
  std::mt19937 random_{15};
};

TEST_F(Preparing, InFourProcessesOfFourThreads) {
  const int rounds = 5 * longerBy();
  Sweep sweep("4 processes of 4 threads that prepare");
  sweep.note(std::to_string(16 * rounds) + " preparations");
  std::array<ChildProcess, 4> processes = {start(4, rounds), start(4, rounds), start(4, rounds), start(4, rounds)};
  for (ChildProcess& process : processes) {
    sweep.begin("a process");
    requireSuccess(sweep, std::move(process));
  }
  EXPECT_TRUE(isTidy());
}

TEST_F(Preparing, AfterProcessesThatWereKilled) {
  Sweep sweep("kill -9 while preparing");
  for (int left = 20 * longerBy(); left > 0; --left) {
    const auto delay = std::chrono::milliseconds(100 + random_() % 500);
    sweep.begin("after " + std::to_string(delay.count()) + " ms");
    {
      const ChildProcess process = start(4, 100);
      std::this_thread::sleep_for(delay);
    } // which kills it
    requireSuccess(sweep, start(2, 1));
    sweep.require(isTidy(), "an unpacked network is left");
  }
}

TEST_F(Preparing, FromADamagedCache) {
  Sweep sweep("damaged caches");
  start(2, 1).wait();
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(own() / "cache")) {
    files.push_back(entry.path());
  }
  ASSERT_FALSE(files.empty());
  for (int left = 20 * longerBy(); left > 0; --left) {
    const fs::path& file = files.at(random_() % files.size());
    const std::string bytes = readFile(file);
    const std::size_t place = random_() % std::max<std::size_t>(bytes.size(), 1);
    const auto kind = random_() % 3;
    sweep.begin("kind " + std::to_string(kind) + " at byte " + std::to_string(place) + " of " + std::to_string(bytes.size()));
    const std::string front = bytes.substr(0, place);
    writeFile(file, kind == 0 ? front : front + "xxxxx" + bytes.substr(std::min(bytes.size(), place + (kind == 1 ? 5 : 0))));
    requireSuccess(sweep, start(2, 1));
  }
}

// Bytes of the directory, of a network's description or of its weights are others. Any error will do, and any picture.
TEST_F(Preparing, FromPackagesThatSomebodyChanged) {
  Sweep sweep("changed packages");
  const fs::path file = fs::path(package_.folder()) / "model_st.bin";
  package_.write({networkFiles(kCartoon, FixedNetwork{}), alikeTwins(kLightGrey, FixedNetwork{})});
  const std::string sound = readFile(file);
  int refused = 0;
  for (int left = 300 * longerBy(); left > 0; --left) {
    std::string bytes = sound;
    std::string changes;
    for (std::uint32_t count = 1 + random_() % 4; count > 0; --count) {
      const std::size_t place = random_() % (random_() % 3 == 0 ? 300 : bytes.size());
      const auto byte = static_cast<char>(random_() % 2 == 0 ? random_() : ('0' + random_() % 10) ^ 0x3C);
      changes += std::to_string(place) + "=" + std::to_string(static_cast<unsigned char>(byte)) + " ";
      bytes[place] = byte;
    }
    sweep.begin(changes);
    writeFile(file, bytes);
    try {
      Restyler restyler(softwareOptions(left % 2 == 0 ? Style::kCartoon : Style::kLightGrey, package_.folder()));
      sweep.require(restyler.restyle(twoLevels()).size() == kSize, "a picture of another size");
    } catch (const Error&) {
      ++refused;
    }
  }
  sweep.note(std::to_string(refused) + " refused");
}

} // namespace
} // namespace vorin::media

int main(int count, char** arguments) {
  if (count == 5 && std::string(arguments[1]) == "prepare") {
    return vorin::media::prepareAndRestyle(arguments[2], std::stoi(arguments[3]), std::stoi(arguments[4]));
  }
  testing::InitGoogleTest(&count, arguments);
  const vorin::tests::TemporaryFolder cache;
  vorin::tests::setVariable("XDG_CACHE_HOME", cache.path().string());
  return RUN_ALL_TESTS();
}
