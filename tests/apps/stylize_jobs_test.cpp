// Jobs: the real program on clips cut into many units, ended at any moment, and helped by other processes. ffmpeg tells whether
// the outputs are equal.
#include "support/media_files.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

namespace vorin::tests {
namespace {

using testing::HasSubstr;
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

  // Does the job from its last unit to its first, by a process that is told each.
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
    ChildSetting setting = StylizeRun::withGpu();
    setting.gets_signals = true;
    ChildProcess process(arguments, setting);
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution(0, most_ms)(random_)));
    process.signal(SIGKILL);
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

struct Way {
  const char* name;
  const char* encoding; // of the source
  const char* in;
  const char* out;
  Words options;
  bool equals_plain = false; // a style without memory, encoded without loss, has the frames of an ordinary run
};

void PrintTo(const Way& way, std::ostream* stream) { // for messages
  *stream << way.name;
}

std::string nameOf(const testing::TestParamInfo<Way>& way) {
  return way.param.name;
}

class StylizeJobWay : public StylizeJob, public testing::WithParamInterface<Way> {};

const char* const kPlain = "-c:v libx264 -bf 2 -g 10 -pix_fmt yuv420p -c:a aac";
const Words kLossless = {"--crf", "0"};

INSTANTIATE_TEST_SUITE_P(
    Jobs, StylizeJobWay,
    testing::Values(
        Way{"pencil", kPlain, "in.mp4", "out.mp4", {"--style", "pencil", "--crf", "0"}, true},
        Way{"stipple_in_mkv", kPlain, "in.mp4", "out.mkv", {"--style", "stipple", "--crf", "0"}, true},
        Way{"odd_sizes_without_sound",
            "-vf scale=161:91 -c:v ffv1 -pix_fmt yuv444p -an",
            "in.mkv",
            "out.mkv",
            {"--style", "stipple", "--steady", "--crf", "0"}},
        Way{"steady_pencil_at_a_cut",
            "-vf select='if(gte(n\\,20)\\,not(mod(n\\,2))\\,1)',hue=h='if(gte(t\\,1.6)\\,180\\,0)' -c:v libx264 -g 10 -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--steady"}},
        Way{"variable_rate",
            "-vf setpts='PTS+(0.03*mod(N\\,3)+2*gte(N\\,34))/TB' -fps_mode vfr -c:v libx264 -bf 2 -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--crf", "0"},
            true},
        Way{"ten_bits_to_h265",
            "-c:v libx264 -pix_fmt yuv420p10le -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--codec", "h265"}},
        Way{"webm", kPlain, "in.mp4", "out.webm", {"--style", "stipple"}},
        Way{"part_in_half_size",
            kPlain,
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--size", "50%", "--start", "0.4", "--end", "2.4", "--strength", "0.5", "--keep-colors"}},
        Way{"transport_stream",
            "-c:v libx264 -bf 2 -g 10 -c:a aac",
            "in.ts",
            "out.mkv",
            {"--style", "pencil", "--crf", "0"},
            true},
        Way{"prores", kPlain, "in.mp4", "out.mov", {"--style", "pencil", "--codec", "prores_ks"}},
        Way{"cartoon", kPlain, "in.mp4", "out.mp4", {"--style", "cartoon", "--crf", "0"}, true},
        Way{"steady_light_grey", kPlain, "in.mp4", "out.mp4", {"--style", "lightgrey", "--steady"}},
        Way{"transfer", kPlain, "in.mp4", "out.mp4", {"--style", "transfer"}},
        Way{"steady_transfer", kPlain, "in.mp4", "out.mp4", {"--style", "transfer", "--steady"}}),
    nameOf);

// One process in order, and processes that go backwards, in a folder of their own: the same frames and times, the sound copied.
TEST_P(StylizeJobWay, HasTheSameFramesInWhateverOrder) {
  const Way& way = GetParam();
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kLightGrey, FixedNetwork{.gain = -1}),
                             alikeTwins(kTransfer512, TransferNetwork{})});
  Words options = way.options;
  options.insert(options.end(), {"--models", package.folder()});
  if (options[1] == "transfer") {
    options.insert(options.end(), {"--style-image", run_.image("painting.png")});
  }
  clip(way.in, way.encoding);
  plan(way.in, std::string("a_") + way.out, "a", options);
  job({"work", "%a", "-q"});
  job({"join", "%a", "-q"});
  plan(way.in, std::string("b_") + way.out, "b", options);
  workBackwards("b");
  job({"join", "%b", "-q"});
  expectOnlyUnits("a");
  expectSameClip(std::string("a_") + way.out, std::string("b_") + way.out);
  Words plain = {run_.file(way.in), "-o", run_.file(std::string("plain_") + way.out), "-q"};
  plain.insert(plain.end(), options.begin(), options.end());
  EXPECT_EQ(StylizeRun::run(plain).exit_status, 0);
  const std::string joined = run_.file(std::string("a_") + way.out);
  EXPECT_EQ(packetHashes(joined, 'a'), packetHashes(plain[2], 'a'));
  EXPECT_EQ(frameTimes(joined), frameTimes(plain[2]));
  EXPECT_NEAR(duration(joined), duration(plain[2]), 0.002); // Matroska counts milliseconds
  EXPECT_EQ(videoEntries(joined, "width,height,color_range,color_space,sample_aspect_ratio"),
            videoEntries(plain[2], "width,height,color_range,color_space,sample_aspect_ratio"));
  if (way.equals_plain) {
    EXPECT_EQ(frameHashes(joined), frameHashes(plain[2]));
  }
}

// Twenty ends at random moments: of a worker, and of the everyday form, which plans, works and joins. The result is that of a run
// that nobody ended.
TEST_F(StylizeJob, SurvivesBeingKilledAtAnyMoment) {
  usualClip();
  const Words style = {"--style", "pencil", "--steady"};
  plan("in.mp4", "whole.mp4", "whole", style);
  job({"work", "%whole", "-q"});
  job({"join", "%whole", "-q"});
  plan("in.mp4", "out.mp4", "job", style);
  for (int kill = 0; kill < 10; ++kill) {
    runAndKill({"job", "work", run_.file("job"), "-q"}, 500);
  }
  job({"work", "%job", "-q"});
  expectOnlyUnits("job");
  job({"join", "%job", "-q"});
  expectSameClip("whole.mp4", "out.mp4");

  ffmpeg("-stream_loop 15 -i " + run_.file("in.mp4") + " -c copy " + run_.file("long.mp4"));
  Words everyday = run_.inFolder({"%long.mp4", "-o", "%first.mp4", "--resume", "-q", "--style", "pencil"});
  EXPECT_EQ(StylizeRun::run(everyday).exit_status, 0);
  everyday[2] = run_.file("second.mp4");
  for (int kill = 0; kill < 10; ++kill) {
    runAndKill(everyday, 1500);
  }
  EXPECT_EQ(StylizeRun::run(everyday).exit_status, 0);
  expectSameClip("first.mp4", "second.mp4");
  EXPECT_EQ(run_.names(),
            (std::set<std::string>{"first.mp4", "in.mp4", "job", "long.mp4", "out.mp4", "second.mp4", "whole", "whole.mp4"}));
}

TEST_F(StylizeJob, ProcessesShareTheUnits) {
  usualClip();
  plan("in.mp4", "one.mp4", "one", {"--style", "stipple"});
  plan("in.mp4", "two.mp4", "two", {"--style", "stipple"});
  EXPECT_THAT(job({"work", "%one", "--workers", "2"}).standard_error, HasSubstr("12 of 12 units done; 36 of 36 frames"));
  const ChildSetting setting = StylizeRun::withGpu();
  const Words work = {StylizeRun::program(), "job", "work", run_.file("two"), "-q"};
  ChildProcess first(work, setting);
  ChildProcess second(work, setting);
  EXPECT_EQ(first.wait().exit_status, 0);
  EXPECT_EQ(second.wait().exit_status, 0);
  for (const char* folder : {"one", "two"}) {
    expectOnlyUnits(folder);
    job({"join", std::string("%") + folder, "-q"});
  }
  expectSameClip("one.mp4", "two.mp4");
}

// A unit's file that is changed, cut short or missing behind its .ok is found and done again.
TEST_F(StylizeJob, DamagedUnitsAreDoneAgain) {
  usualClip();
  plan("in.mp4", "out.mp4", "job", {"--style", "pencil"});
  plan("in.mp4", "good.mp4", "good", {"--style", "pencil"});
  for (const char* folder : {"job", "good"}) {
    job({"work", std::string("%") + folder, "-q"});
  }
  job({"join", "%good", "-q"});
  std::vector<fs::path> units;
  for (const std::string& name : namesIn(run_.folder() / "job" / "units")) {
    if (name.ends_with(".nut")) {
      units.push_back(run_.folder() / "job" / "units" / name);
    }
  }
  const auto flip = [](const fs::path& file) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekg(500);
    const char byte = static_cast<char>(stream.get());
    stream.seekp(500);
    stream.put(static_cast<char>(byte ^ 1));
  };
  flip(units[0]);
  EXPECT_THAT(job({"join", "%job"}, 1).standard_error, HasSubstr("1 units are damaged and open again"));
  fs::resize_file(units[1], fs::file_size(units[1]) / 2);
  fs::remove(units[2]);
  fs::copy_file(fs::path(units[3]).replace_extension(".ok"), fs::path(units[4]).replace_extension(".ok"),
                fs::copy_options::overwrite_existing);
  std::ofstream(fs::path(units[5]).replace_extension(".ok")) << "{}";
  EXPECT_EQ(openUnits("job").size(), 5U);
  EXPECT_THAT(job({"join", "%job"}, 1).standard_error, HasSubstr("are damaged and open again"));
  job({"work", "%job", "-q"});
  job({"join", "%job", "-q"});
  expectOnlyUnits("job");
  expectSameClip("out.mp4", "good.mp4");
}

TEST_F(StylizeJob, RefusesWhatChangedAndLosesNothing) {
  const std::string in = usualClip();
  TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const Words style = {"--style", "cartoon", "--models", package.folder()};
  plan("in.mp4", "out.mp4", "job", style);
  EXPECT_EQ(openUnits("job").size(), 12U);
  Words other = run_.inFolder({"job", "plan", "%in.mp4", "-o", "%out.mp4", "--job", "%job", "--unit-length", "0.25"});
  other.insert(other.end(), style.begin(), style.end());
  EXPECT_EQ(StylizeRun::run(other).exit_status, 0); // the same once more
  other.insert(other.end(), {"--strength", "0.5"});
  expectFailure(StylizeRun::run(other), 2, "--strength was 1.0 and is 0.5");
  package.write({networkFiles(kCartoon, FixedNetwork{.gain = 1})});
  EXPECT_THAT(job({"work", "%job"}, 3).standard_error, HasSubstr("package is another"));
  package.write({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  job({"work", "%job", "--unit", openUnits("job").back(), "-q"});
  std::ofstream(in, std::ios::app) << "more";
  EXPECT_THAT(job({"work", "%job"}, 5).standard_error, HasSubstr("in.mp4' has changed since the job was planned"));
  EXPECT_EQ(openUnits("job").size(), 11U);
  fs::resize_file(in, fs::file_size(in) - 4);
  job({"work", "%job", "-q"});
  job({"join", "%job", "-q"});
  EXPECT_THAT(job({"work", "%nothing"}, 5).standard_error, HasSubstr("nothing' holds no job"));
  EXPECT_THAT(job({"work", "%job", "--unit", "0123"}, 2).standard_error, HasSubstr("no unit '0123'"));
}

// A clip whose pictures the decoder repairs, units of one frame, and an output that is the input.
TEST_F(StylizeJob, TakesOddInputs) {
  const std::string in = clip("whole.mp4", "-c:v libx264 -bf 2 -g 10 -pix_fmt yuv420p -an");
  ffmpeg("-i " + in + " -c copy -bsf:v noise=amount=2000 " + run_.file("in.mp4"));
  for (const char* folder : {"a", "b"}) {
    plan("in.mp4", std::string(folder) + ".mp4", folder, {"--style", "pencil"});
  }
  job({"work", "%a", "-q"});
  workBackwards("b");
  for (const char* folder : {"a", "b"}) {
    EXPECT_THAT(job({"join", std::string("%") + folder}, 1).standard_error, HasSubstr("damaged"));
  }
  expectSameClip("a.mp4", "b.mp4");
  ChildSetting there = StylizeRun::withGpu();
  there.working_folder = run_.folder();
  job({"plan", "whole.mp4", "-o", "c.mp4", "--job", "c", "--style", "pencil", "--unit-length", "0.05", "-q"}, 0, there);
  EXPECT_EQ(openUnits("c").size(), 35U); // the last has two
  fs::create_directory_symlink(run_.folder() / "c", run_.folder() / "a" / "linked");
  job({"work", "%a/linked", "-q"});
  job({"join", "%a/linked", "-q"});
  EXPECT_EQ(frameTimes(run_.file("c.mp4")).size(), 36U);
  EXPECT_THAT(
      job({"plan", "%whole.mp4", "-o", "%whole.mp4", "--job", "%d", "--style", "pencil", "--overwrite"}, 2).standard_error,
      HasSubstr("which is read"));
}

TEST_F(StylizeJob, GoesOnOnceTheFullDiskHasRoom) {
  usualClip();
  const std::string script =
      "mount -t tmpfs -o size=160k none \"$1\" && cd \"$1\" && $0 job plan ../in.mp4 -o ../out.mp4 --style "
      "stipple --job job --unit-length 0.25 -q && { $0 job work job -q; echo $?; } && mount -o "
      "remount,size=40m none . && $0 job work job -q && $0 job join job -q";
  fs::create_directory(run_.folder() / "disk");
  const ChildResult result =
      ChildProcess({"unshare", "-rm", "sh", "-c", script, StylizeRun::program(), run_.file("disk")}, StylizeRun::withGpu())
          .wait();
  if (result.standard_output.empty() && result.exit_status != 0) {
    GTEST_SKIP() << "no small disk can be had here: " << result.standard_error;
  }
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "5\n");
  EXPECT_THAT(result.standard_error, HasSubstr("make room on its disk"));
  EXPECT_EQ(frameTimes(run_.file("out.mp4")).size(), 36U);
}

} // namespace
} // namespace vorin::tests
