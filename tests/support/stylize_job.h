// Shared by the tests of jobs: a clip, and its job planned, done and compared by the real program and ffmpeg.
#pragma once

#include "support/media_files.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>

namespace vorin::tests {

using Words = std::vector<std::string>;

class StylizeJob : public testing::Test {
protected:
  // 36 frames at 12 a second; with unitLength(), twelve units.
  std::string clip(const std::string& name, const std::string& more) const {
    ffmpeg("-f lavfi -i testsrc2=s=160x120:r=12:d=3 -f lavfi -i sine=d=3 " + more + " " + run_.file(name));
    return run_.file(name);
  }
  std::string usualClip() const { return clip("in.mp4", "-c:v libx264 -bf 2 -g 10 -pix_fmt yuv420p -c:a aac"); }
  static Words unitLength() { return {"--unit-length", "0.25"}; }

  ChildResult job(Words arguments, int expected_status = 0, const ChildSetting& setting = StylizeRun::withGpu()) const {
    arguments.insert(arguments.begin(), "job");
    ChildResult result = StylizeRun::run(run_.inFolder(arguments), setting);
    EXPECT_EQ(result.exit_status, expected_status) << result.standard_error;
    return result;
  }

  void plan(const std::string& in, const std::string& out, const std::string& folder, const Words& options) const {
    Words arguments = {"plan", "%" + in, "-o", "%" + out, "--job", "%" + folder, "-q"};
    for (const Words& more : {options, unitLength()}) {
      arguments.insert(arguments.end(), more.begin(), more.end());
    }
    job(arguments);
  }

  Words openUnits(const std::string& folder) const { return linesOf(job({"status", "%" + folder, "--open"}).standard_output); }

  // Does the units in reverse order, in one process that reads their ids.
  void workBackwards(const std::string& folder) const {
    Words units = openUnits(folder);
    std::reverse(units.begin(), units.end());
    std::ofstream ids(run_.file("ids"));
    std::copy(units.begin(), units.end(), std::ostream_iterator<std::string>(ids, "\n"));
    ids.close();
    const ChildResult result =
        ChildProcess(
            {"/bin/sh", "-c", "\"$0\" job work " + run_.file(folder) + " --unit - < " + run_.file("ids"), StylizeRun::program()},
            StylizeRun::withGpu())
            .wait();
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_EQ(linesOf(result.standard_output).size(), units.size());
  }

  // Kills a run after a random time of at most so many milliseconds.
  void runAndKill(Words arguments, int most_ms) {
    arguments.insert(arguments.begin(), StylizeRun::program());
    ChildProcess process(arguments, StylizeRun::withGpu());
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution(0, most_ms)(random_)));
    process.kill();
    process.wait();
  }

  // Whether the folder of units holds complete ones and nothing else.
  void expectOnlyUnits(const std::string& folder) const {
    std::size_t complete = 0;
    const std::set<std::string> names = namesIn(run_.folder() / folder / "units");
    for (const std::string& name : names) {
      complete += name.ends_with(".ok") && names.contains(name.substr(0, name.size() - 3) + ".nut") ? 1 : 0;
    }
    EXPECT_EQ(names.size(), 2 * complete) << testing::PrintToString(names);
    const std::string units = std::to_string(complete);
    EXPECT_THAT(job({"status", "%" + folder}).standard_output, testing::StartsWith(units + " of " + units + " units done;"));
  }

  void expectSameClip(const std::string& one, const std::string& other) const {
    EXPECT_EQ(frameHashes(run_.file(one)), frameHashes(run_.file(other)));
    EXPECT_EQ(packetHashes(run_.file(one), 'a'), packetHashes(run_.file(other), 'a'));
  }

  StylizeRun run_;
  std::mt19937 random_{7};
};

} // namespace vorin::tests
