// Jobs: the real program on clips cut into many units, ended at any moment, and helped by other processes. ffmpeg tells whether
// the outputs are equal.
#include "support/stylize_job.h"
#include "support/test_networks.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

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

// Nobody's half-made unit is left.
TEST_F(StylizeJob, CancellationReachesTheWorkers) {
  usualClip();
  ffmpeg("-stream_loop 15 -i " + run_.file("in.mp4") + " -c copy " + run_.file("long.mp4"));
  plan("long.mp4", "out.mp4", "job", {"--style", "pencil"});
  std::map<std::string, std::set<std::string>> units; // of each worker, by the end of its temporary files' names
  const auto haveBegun = [&] {                        // with their second units: by then no filter is being compiled
    for (const std::string& name : namesIn(run_.folder() / "job" / "units")) {
      if (name.ends_with(".part")) {
        const std::size_t end = name.find('.');
        units[name.substr(end)].insert(name.substr(0, end));
      }
    }
    return units.size() == 2 &&
           std::all_of(units.begin(), units.end(), [](const auto& worker) { return worker.second.size() > 1; });
  };
  const ChildResult result = runAndSignal({StylizeRun::program(), "job", "work", run_.file("job"), "--workers", "2", "-q"},
                                          StylizeRun::withGpu(), haveBegun);
  EXPECT_EQ(result.exit_status, 130) << result.standard_error;
  EXPECT_THAT(namesIn(run_.folder() / "job" / "units"), testing::Not(testing::Contains(testing::EndsWith(".part"))));
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
  writeFile(fs::path(units[4]).replace_extension(".ok"), readFile(fs::path(units[3]).replace_extension(".ok")));
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

// Each input gets its output as soon as its units are done, and keeps it; a file that takes the output's place is not the job's
// own.
TEST_F(StylizeJob, JoinsWhatIsCompleteAndLaterTheRest) {
  usualClip();
  clip("other.mp4", "-vf hue=h=90 -c:v libx264 -pix_fmt yuv420p -an");
  job({"plan", "%in.mp4", "%other.mp4", "-o", "%out/", "--job", "%job", "--style", "pencil", "-q"});
  const Words units = openUnits("job");
  ASSERT_EQ(units.size(), 2U);
  job({"work", "%job", "--unit", units[1], "-q"});
  EXPECT_THAT(job({"join", "%job"}, 1).standard_error,
              AllOf(HasSubstr("in.mp4': no output yet, unit " + units[0] + " is open"), HasSubstr("1 output written")));
  const fs::path first = run_.file("out/other.mp4");
  const std::string frames = frameHashes(first);
  const fs::file_time_type written = fs::last_write_time(first);
  EXPECT_EQ(namesIn(run_.file("out")), (std::set<std::string>{"other.mp4"}));
  job({"work", "%job", "-q"});
  EXPECT_THAT(job({"join", "%job"}).standard_error, HasSubstr("2 outputs written"));
  EXPECT_EQ(fs::last_write_time(first), written);
  EXPECT_EQ(frameTimes(run_.file("out/in.mp4")), frameTimes(first));

  writeFile(first, readFile(run_.file("in.mp4")));
  EXPECT_THAT(job({"join", "%job"}, 1).standard_error, HasSubstr("other.mp4' is there and is not this job's own"));
  EXPECT_EQ(readFile(first), readFile(run_.file("in.mp4")));
  fs::remove(first);
  job({"join", "%job", "-q"});
  EXPECT_EQ(frameHashes(first), frames);
}

// The network leaves only what is brighter than the middle, so dark inputs become black, which is an error.
TEST_F(StylizeJob, UnitsThatFailAreTriedThreeTimesInAllAndStopNoOther) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.bias = -1})});
  usualClip();
  clip("dark.mp4", "-vf lutyuv=y=val/4+12:u=128:v=128 -c:v libx264 -an");
  run_.image("bright.png");
  savePicture(run_.file("dark.png"), makePicture({61, 47}) * 0.4);
  cv::Mat tiny(2, 2, CV_8UC3, cv::Scalar::all(0));
  tiny.row(0).setTo(cv::Scalar::all(255));
  savePicture(run_.file("tiny.png"), tiny);
  job({"plan", "%dark.mp4", "%in.mp4", "%bright.png", "%dark.png", "-o", "%out/", "--job", "%job", "--style", "cartoon",
       "--models", package.folder(), "-q"});
  const auto failed = [&] {
    const nlohmann::json state = nlohmann::json::parse(job({"status", "%job", "--json"}).standard_output);
    const auto unit =
        std::find_if(state["units"].begin(), state["units"].end(), [](const auto& each) { return each["state"] == "failed"; });
    return unit != state["units"].end() ? *unit : nlohmann::json();
  };
  job({"work", "%job", "--workers", "2", "-q"}, 1);
  EXPECT_EQ(failed()["tries"], 3);
  EXPECT_THAT(job({"join", "%job"}, 1).standard_error,
              AllOf(HasSubstr("dark.mp4': no output yet, unit "), HasSubstr("failed: "), HasSubstr("2 outputs written")));
  EXPECT_EQ(namesIn(run_.file("out")), (std::set<std::string>{"bright.png", "in.mp4"}));

  const std::string unit = failed()["id"];
  const std::string mark = R"({"tries": 3, "may_pass": true, "error": "an earlier reason"})";
  const auto errorAfter = [&](const Words& work) {
    writeFile(run_.folder() / "job" / "units" / (unit + ".failed"), mark);
    job(work, 1);
    return failed()["error"].get<std::string>();
  };
  EXPECT_EQ(errorAfter({"work", "%job", "--unit", unit, "-q"}), "an earlier reason");
  EXPECT_EQ(errorAfter({"work", "%job", "--skip-failed", "-q"}), "an earlier reason");
  EXPECT_NE(errorAfter({"work", "%job", "-q"}), "an earlier reason");
  EXPECT_EQ(failed()["tries"], 3);

  job({"plan", "%tiny.png", "%bright.png", "-o", "%dots/", "--job", "%tiny", "--style", "stipple", "--unit-images", "1", "-q"});
  job({"work", "%tiny", "-q"}, 1);
  EXPECT_THAT(job({"status", "%tiny"}).standard_output,
              AllOf(HasSubstr("2 of 2 units done"), HasSubstr("tiny.png': a picture of 2x2 pixels is too small")));
}

TEST_F(StylizeJob, ASecondRunOfTheSameClipSaysWhoIsAtWork) {
  usualClip();
  ffmpeg("-stream_loop 15 -i " + run_.file("in.mp4") + " -c copy " + run_.file("long.mp4"));
  const Words resume = run_.inFolder({"%long.mp4", "-o", "%out.mp4", "--resume", "-q", "--style", "pencil"});
  Words line = resume;
  line.insert(line.begin(), StylizeRun::program());
  ChildProcess first(line, StylizeRun::withGpu());
  waitUntil([&] { return fs::exists(run_.file("out.mp4.job/job.json")); });
  first.pause();
  const auto before = contentOf(run_.folder());
  expectFailure(StylizeRun::run(resume), 5, "out.mp4' is at work already (");
  EXPECT_TRUE(contentOf(run_.folder()) == before);
  first.goOn();
  EXPECT_EQ(first.wait().exit_status, 0);
  EXPECT_EQ(frameTimes(run_.file("out.mp4")).size(), 16 * 36U);
  EXPECT_EQ(run_.names(), (std::set<std::string>{"in.mp4", "long.mp4", "out.mp4"}));
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
  std::error_code no_links;              // on Windows
  fs::create_directory_symlink(run_.folder() / "c", run_.folder() / "a" / "linked", no_links);
  for (const char* command : {"work", "join"}) {
    job({command, no_links ? "%c" : "%a/linked", "-q"});
  }
  EXPECT_EQ(frameTimes(run_.file("c.mp4")).size(), 36U);
  EXPECT_THAT(
      job({"plan", "%whole.mp4", "-o", "%whole.mp4", "--job", "%d", "--style", "pencil", "--overwrite"}, 2).standard_error,
      HasSubstr("which is read"));
}

} // namespace
} // namespace vorin::tests
