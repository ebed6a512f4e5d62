// Jobs: the real program on clips cut into many units, ended at any moment, and helped by other processes. ffmpeg tells whether
// the outputs are equal.
#include "support/stylize_job.h"
#include "support/test_networks.h"

namespace vorin::tests {
namespace {

using testing::HasSubstr;

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
