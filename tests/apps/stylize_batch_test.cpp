// Many images in one run of vorin-stylize: folders, resuming, failures of some, progress and results as JSON.
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>

namespace vorin::tests {
namespace {

using namespace testing;

class StylizeBatch : public testing::Test {
protected:
  void SetUp() override {
    fs::create_directories(in_ / "sub");
    run_.image("in/a.png");
    savePicture(run_.file("in/b.png"),
                makePicture({61, 47}) + cv::Scalar(7, 3, 5)); // similar to a.png, as the next frame of a clip would be
    run_.image("in/sub/c.jpg", {40, 64});
    run_.image("in/sub/d.png");
  }

  ChildResult pencilInto(const std::string& output, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {in_.string(), "-o", run_.file(output), "--style", "pencil"});
    return StylizeRun::run(more);
  }

  StylizeRun run_;
  fs::path in_ = run_.folder() / "in";
};

// Also if the library keeps a network loaded, and if it blends each frame with the one before.
TEST_F(StylizeBatch, EachImageIsRestyledAsIfAlone) {
  const TransferNetwork transfer{.width = 61, .height = 47};
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kTransfer512, transfer)});
  savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, cv::Scalar(90, 140, 60)));
  for (const std::string style : {"stipple", "cartoon", "transfer"}) {
    const auto restyle = [&](const fs::path& input, const std::string& output) {
      std::vector<std::string> arguments = {input.string(), "-o",       output,           "--style",
                                            style,          "--models", package.folder(), "--overwrite"};
      if (style == "transfer") {
        arguments.insert(arguments.end(), {"--style-image", run_.file("style.png")});
      }
      const ChildResult result = StylizeRun::run(arguments);
      EXPECT_EQ(result.exit_status, 0) << result.standard_error;
      return result.standard_error;
    };
    const std::string report = restyle(in_, run_.file(style));
    EXPECT_TRUE(report.starts_with("vorin-stylize: style " + style + ", ")) << report;
    EXPECT_THAT(report, testing::Not(HasSubstr(" %, "))); // no line for each tenth of four
    const auto results = contentOf(run_.file(style));
    EXPECT_EQ(results.size(), 5U);
    for (const auto& [name, bytes] : results) {
      if (name == "sub") {
        continue;
      }
      const std::string alone = run_.file("alone" + fs::path(name).extension().string());
      restyle(in_ / name, alone);
      EXPECT_TRUE(bytes == readFile(alone)) << style << ' ' << name;
    }
  }
}

TEST_F(StylizeBatch, OneThatFailsDoesNotStopTheOthers) {
  std::ofstream(in_ / "bad.png") << "no picture";
  savePicture((in_ / "b.bmp").string(), makePicture({8, 8})); // wants the same name as b.png
  const ChildResult result = pencilInto("out", {"--to", "bmp", "--json"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(result.standard_error, HasSubstr("bad.png' is not a PNG"));
  EXPECT_THAT(linesOf(result.standard_error).back(), HasSubstr("failed: '" + (in_ / "bad.png").string()));
  EXPECT_THAT(contentOf(run_.file("out")),
              ElementsAre(Key("a.bmp"), Key("b.bmp"), Key("b.png.bmp"), Key("sub"), Key("sub/c.bmp"), Key("sub/d.bmp")));
  const auto json = nlohmann::json::parse(result.standard_output);
  EXPECT_EQ(json["exit_status"], 1);
  EXPECT_EQ(json["style"], "pencil");
  EXPECT_FALSE(json["device_reason"].get<std::string>().empty());
  ASSERT_EQ(json["results"].size(), 6U);
  EXPECT_EQ(json["results"][3]["outcome"], "failed");
  EXPECT_THAT(json["results"][3]["error"].get<std::string>(), HasSubstr("is not a PNG"));
  EXPECT_EQ(json["results"][4]["width"], 40);
}

// A killed run leaves no result half written, and what it has finished is not restyled again.
TEST_F(StylizeBatch, ResumedRunGivesWhatAnUninterruptedOneGives) {
  const fs::path out = run_.file("out");
  std::ofstream(in_ / "notes.txt") << "one";
  std::ofstream(in_ / "sub" / "more.TXT") << "two";
  EXPECT_EQ(pencilInto("whole").exit_status, 0);
  EXPECT_EQ(pencilInto("out").exit_status, 0);
  const ChildResult again = pencilInto("out");
  EXPECT_EQ(again.exit_status, 1);
  EXPECT_THAT(linesOf(again.standard_error).back(), HasSubstr("4 of the results are there already: add --resume"));
  fs::remove(out / "b.png");
  std::ofstream(out / "sub" / ".vorin-0123456789abcdef.part") << "half an image";
  const auto written = fs::last_write_time(out / "a.png");
  const ChildResult resumed = pencilInto("out", {"--resume"});
  EXPECT_EQ(resumed.exit_status, 0);
  EXPECT_THAT(resumed.standard_error, testing::AllOf(HasSubstr("left out, as no images or clips by their names: 2 .txt"),
                                                     HasSubstr("1 image restyled, 3 there already")));
  EXPECT_TRUE(contentOf(out) == contentOf(run_.file("whole")));
  EXPECT_EQ(fs::last_write_time(out / "a.png"), written);
}

// Another run may still write to a young file.
TEST_F(StylizeBatch, LeftoversOfKilledRunsAreRemovedAfterADay) {
  for (const bool resume : {false, true}) {
    for (const char* digit : {"0", "1"}) {
      std::ofstream(run_.file(".vorin-" + std::string(15, '0') + digit + ".part")) << "half an image";
    }
    fs::last_write_time(run_.file(".vorin-0000000000000000.part"), fs::file_time_type::clock::now() - std::chrono::hours(25));
    fs::remove(run_.file("out.png"));
    EXPECT_EQ(run_.restyle({"--style", "pencil", resume ? "--resume" : "-q"}).exit_status, 0);
    EXPECT_EQ(run_.names().count(".vorin-0000000000000000.part"), 0U);
    EXPECT_EQ(run_.names().count(".vorin-0000000000000001.part"), resume ? 0U : 1U);
  }
}

// The second image is slow to restyle, and its temporary file shows that work on it has begun.
TEST_F(StylizeBatch, CancelledRunKeepsWhatIsDone) {
  run_.image("large.bmp", {4000, 3000});
  const fs::path out = run_.file("out");
  const auto hasBegun = [&] { return fs::exists(out) && std::distance(fs::directory_iterator(out), {}) == 2; };
  const ChildResult result = runAndSignal(
      {StylizeRun::program(), run_.file("in/a.png"), run_.file("large.bmp"), "-o", out.string(), "--style", "stipple", "--json"},
      StylizeRun::withGpu(), hasBegun);
  EXPECT_EQ(result.exit_status, 130);
  EXPECT_THAT(
      result.standard_error,
      testing::EndsWith(out.string() + ": 1 of 2 restyled, which are kept: --resume goes on\nvorin-stylize: cancelled\n"));
  EXPECT_EQ(nlohmann::json::parse(result.standard_output)["exit_status"], 130);
  EXPECT_THAT(contentOf(out), ElementsAre(Key("in"), Key("in/a.png")));
}

// Each line is a whole object, from the first to the last, also during a slow image.
TEST_F(StylizeBatch, ProgressAsJson) {
  run_.image("in/large.bmp", {4000, 3000});
  const ChildResult result = pencilInto("out", {"--quiet", "--progress", "json"});
  EXPECT_EQ(result.exit_status, 0);
  const auto lines = linesOf(result.standard_error);
  ASSERT_GE(lines.size(), 2U);
  double previous_s = 0;
  for (const std::string& line : lines) {
    const auto json = nlohmann::json::parse(line);
    EXPECT_EQ(json["done"], &line == &lines.back() ? 5 : &line == &lines.front() ? 0 : json["done"].get<int>());
    EXPECT_EQ(json["total"], 5);
    EXPECT_EQ(json["unit"], "images");
    EXPECT_LT(json["elapsed_seconds"].get<double>(), previous_s + 1) << line;
    previous_s = json["elapsed_seconds"];
  }
}

// In units of two images; one is damaged, one gets no result in the first unit that fails.
TEST_F(StylizeBatch, AJobHasTheResultsOfAnOrdinaryRun) {
  std::ofstream(in_ / "sub/damaged.png", std::ios::binary) << "\x89PNG\r\n\x1A\n";
  EXPECT_EQ(pencilInto("plain", {"-q"}).exit_status, 1);
  const std::string job = run_.file("job");
  const ChildResult planned = StylizeRun::run(
      {"job", "plan", in_.string(), "-o", run_.file("joined"), "--style", "pencil", "--job", job, "--unit-images", "2"});
  EXPECT_EQ(planned.exit_status, 0) << planned.standard_error;
  EXPECT_THAT(planned.standard_error, HasSubstr("0 of 3 units done; 0 of 5 frames"));
  const ChildResult worked = StylizeRun::run({"job", "work", job});
  EXPECT_EQ(worked.exit_status, 1) << worked.standard_error;
  EXPECT_THAT(worked.standard_error, HasSubstr("3 of 3 units done"));
  EXPECT_THAT(StylizeRun::run({"job", "status", job}).standard_output, HasSubstr("no result: '"));
  const ChildResult joined = StylizeRun::run({"job", "join", job, "--json"});
  EXPECT_EQ(joined.exit_status, 1) << joined.standard_error;
  EXPECT_EQ(nlohmann::json::parse(joined.standard_output)["outputs"].size(), 4U);
  for (const char* name : {"a.png", "b.png", "sub/c.jpg", "sub/d.png"}) {
    EXPECT_EQ(readFile(run_.folder() / "joined" / name), readFile(run_.folder() / "plain" / name)) << name;
  }
  EXPECT_EQ(StylizeRun::run({"job", "join", job, "-q"}).exit_status, 1); // again: nothing is lost
}

} // namespace
} // namespace vorin::tests
