// Many photos in one run of vorin-stylize: folders and patterns, resuming, failures of some, progress and results as JSON.

#include "clip_command.h"
#include "photo_list.h"
#include "progress.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"
#include "wildcard.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <fstream>
#include <nlohmann/json.hpp>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Wildcards, MatchAsInAShell) {
  struct Case {
    const char* name;
    const char* pattern;
    bool matches;
  };
  for (const Case& each : {Case{"a.jpg", "*.jpg", true}, Case{"a.jpg.png", "*.jpg", false}, Case{"a.jpg", "?.jpg", true},
                           Case{"ä.jpg", "?.jpg", true}, Case{"ab.jpg", "?.jpg", false}, Case{"b7", "[a-c][0-9]", true},
                           Case{"d7", "[a-c][0-9]", false}, Case{"d7", "[!a-c]7", true}, Case{"a]", "a[]]", true},
                           Case{"a[b", "a[b", true}, Case{".a", "*", false}, Case{".a", ".*", true}, Case{"", "*", true},
                           Case{"aXbXc", "a*b*c", true}, Case{"aXbX", "a*b*c", false}, Case{"-", "[a-]", true}}) {
    EXPECT_EQ(stylize::matchesWildcard(each.name, each.pattern), each.matches) << each.name << ' ' << each.pattern;
  }
}

TEST(PhotoList, MirrorsTheTreeBelowTheCommonFolder) {
  const TemporaryFolder folder;
  const fs::path& root = folder.path();
  for (const std::string name : {"in/a.jpg", "in/sub/deep/b.PNG", "in/sub/c.webp", "in/text.txt", "in/.hidden.jpg",
                                 "in/.dir/d.jpg", "in/out/old.png", "other/e.bmp", "other/film.MP4"}) {
    fs::create_directories((root / name).parent_path());
    std::ofstream(root / name).close();
  }
  const auto places = [&](std::vector<fs::path> names) {
    for (fs::path& name : names) {
      name = root / name;
    }
    std::vector<std::string> listed;
    const stylize::PhotoList list = stylize::listPhotos(names, root / "in/out");
    for (const stylize::ListedPhoto& photo : list.photos) {
      listed.push_back(photo.place.generic_string());
    }
    listed.insert(listed.end(), list.clips_left_out, "a clip");
    return listed;
  };
  EXPECT_THAT(places({"in"}), ElementsAre("a.jpg", "sub/c.webp", "sub/deep/b.PNG"));
  EXPECT_THAT(places({"in/**/*.[pP][nN][gG]"}), ElementsAre("sub/deep/b.PNG"));
  EXPECT_THAT(places({"in/out/*.png"}), ElementsAre("old.png"));
  EXPECT_THAT(places({"in/*/c.*"}), ElementsAre("sub/c.webp"));
  std::vector<std::string> expected = {"in/sub/c.webp", "in/sub/deep/b.PNG", "other/e.bmp"};
  if (!stylize::clipExtensions().empty()) {
    expected.emplace_back("a clip");
  }
  EXPECT_EQ(places({"in/sub", "other", "other/*"}), expected);
  EXPECT_THAT(places({"in/a.jpg", "in/sub/c.webp", "in/*.jpg"}), ElementsAre("a.jpg", "sub/c.webp"));
  EXPECT_THAT(places({"in/none*.jpg"}), ElementsAre("none*.jpg"));
}

TEST(ProgressText, TellsRateAndTimeLeft) {
  const stylize::ProgressState state = {30, 120, 15};
  EXPECT_EQ(stylize::progressLine(state, "frames"), "25 %, 30 of 120 frames, 2.0 a second, 0:45 left");
  EXPECT_EQ(stylize::progressBar(state, "frames", 200),
            "[######..................]  25 %  30 of 120 frames, 2.0 a second, 0:45 left");
  EXPECT_EQ(stylize::progressBar(state, "frames", 40).size(), 39U);
  EXPECT_EQ(stylize::progressLine({1, 1, 0.5}, "photos"), "100 %, 1 of 1 photo, 2.0 a second, 0:00 left");
  EXPECT_EQ(stylize::progressLine({7200, std::nullopt, 2}, "frames"), "7200 frames, 3600.0 a second");
  EXPECT_EQ(stylize::progressLine({1, 4001, 1}, "frames"), "0 %, 1 of 4001 frames, 1.0 a second, 1:06:40 left");
}

class StylizeBatch : public testing::Test {
protected:
  void SetUp() override {
    fs::create_directories(in_ / "sub");
    savePicture((in_ / "a.png").string(), makePhoto({61, 47}));
    savePicture((in_ / "b.png").string(), makePhoto({61, 47}) + cv::Scalar(7, 3, 5)); // the library takes it for the next frame
    savePicture((in_ / "sub" / "c.jpg").string(), makePhoto({40, 64}));
    savePicture((in_ / "sub" / "d.png").string(), makePhoto({61, 47}));
  }

  static ChildResult run(std::vector<std::string> arguments, const std::vector<std::string>& more = {}) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return StylizeRun::run(arguments, StylizeRun::withGpu());
  }

  // Names below the folder, with their bytes.
  static std::map<std::string, std::string> contentOf(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) {
        files[entry.path().lexically_relative(folder).generic_string()] = readFile(entry.path());
      }
    }
    return files;
  }

  std::string out(const std::string& name = "out") const { return run_.file(name); }

  StylizeRun run_;
  fs::path in_ = run_.folder() / "in";
};

// Also where the library keeps a network loaded, and where it blends each frame with the one before.
TEST_F(StylizeBatch, EachPhotoComesOutAsIfAlone) {
  const TransferNetwork transfer{.width = 61, .height = 47};
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kTransfer512, transfer)});
  savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, cv::Scalar(90, 140, 60)));
  for (const std::string style : {"stipple", "cartoon", "transfer"}) {
    std::vector<std::string> how = {"--style", style, "--models", package.folder()};
    if (style == "transfer") {
      how.insert(how.end(), {"--style-image", run_.file("style.png")});
    }
    const ChildResult result = run({in_.string(), "-o", out(style)}, how);
    ASSERT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_TRUE(result.standard_error.starts_with("vorin-stylize: style " + style + ", ")) << result.standard_error;
    EXPECT_THAT(result.standard_error, HasSubstr("100 %, 4 of 4 photos, "));
    const auto drawn = contentOf(out(style));
    ASSERT_EQ(drawn.size(), 4U);
    for (const auto& [name, bytes] : drawn) {
      const std::string alone = run_.file("alone" + fs::path(name).extension().string());
      ASSERT_EQ(run({(in_ / name).string(), "-o", alone, "--overwrite"}, how).exit_status, 0);
      EXPECT_TRUE(bytes == readFile(alone)) << style << ' ' << name;
    }
  }
}

TEST_F(StylizeBatch, OneThatFailsDoesNotStopTheOthers) {
  std::ofstream(in_ / "bad.png") << "no picture";
  std::ofstream(in_ / "film.mp4").close();
  const ChildResult result = run({in_.string(), "-o", out(), "--style", "pencil", "--to", "bmp", "--json"});
  EXPECT_EQ(result.exit_status, 1);
  const auto lines = linesOf(result.standard_error);
  EXPECT_THAT(lines.back(), HasSubstr("failed: '" + (in_ / "bad.png").string()));
  EXPECT_THAT(result.standard_error, HasSubstr("bad.png' is not a PNG"));
  EXPECT_EQ(result.standard_error.find("1 clip left out") == std::string::npos, stylize::clipExtensions().empty());
  EXPECT_THAT(contentOf(out()), testing::UnorderedElementsAre(testing::Key("a.bmp"), testing::Key("b.bmp"),
                                                              testing::Key("sub/c.bmp"), testing::Key("sub/d.bmp")));
  const auto json = nlohmann::json::parse(result.standard_output);
  EXPECT_EQ(json["exit_status"], 1);
  EXPECT_EQ(json["style"], "pencil");
  EXPECT_FALSE(json["device_reason"].get<std::string>().empty());
  ASSERT_EQ(json["results"].size(), 5U);
  EXPECT_EQ(json["results"][2]["outcome"], "failed");
  EXPECT_THAT(json["results"][2]["error"].get<std::string>(), HasSubstr("is not a PNG"));
  EXPECT_EQ(json["results"][3]["width"], 40);
}

TEST_F(StylizeBatch, ClipAmongPhotosIsToldHowToBeDrawn) {
  const std::string film = (in_ / "film.mp4").string();
  std::ofstream(film).close();
  const ChildResult result = run({(in_ / "a.png").string(), film, "-o", out(), "--style", "stipple"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(result.standard_error,
              HasSubstr("'" + film + (stylize::clipExtensions().empty() ? "' is empty" : "' is a clip: draw it on its own, ")));
  EXPECT_THAT(contentOf(out()), testing::ElementsAre(testing::Key("a.png")));
}

// What a killed run leaves is no drawing, and what it has drawn is not drawn again.
TEST_F(StylizeBatch, ResumedRunGivesWhatAnUninterruptedOneGives) {
  const std::vector<std::string> how = {"--style", "stipple"};
  ASSERT_EQ(run({in_.string(), "-o", out("whole")}, how).exit_status, 0);
  ASSERT_EQ(run({in_.string(), "-o", out()}, how).exit_status, 0);
  fs::remove(fs::path(out()) / "b.png");
  fs::remove(fs::path(out()) / "sub" / "d.png");
  std::ofstream(fs::path(out()) / ".vorin-0123456789abcdef.part") << "half a drawing";
  const auto written = fs::last_write_time(fs::path(out()) / "a.png");
  EXPECT_EQ(run({in_.string(), "-o", out()}, how).exit_status, 1) << "a.png is there already";
  fs::remove(fs::path(out()) / "b.png");
  const ChildResult resumed = run({in_.string(), "-o", out(), "--resume"}, how);
  EXPECT_EQ(resumed.exit_status, 0) << resumed.standard_error;
  EXPECT_THAT(resumed.standard_error, testing::AllOf(HasSubstr("1 of 1 photo, "), HasSubstr("1 photo drawn, 3 there already")));
  EXPECT_TRUE(contentOf(out()) == contentOf(out("whole")));
  EXPECT_EQ(fs::last_write_time(fs::path(out()) / "a.png"), written);
}

TEST_F(StylizeBatch, CancelledRunKeepsWhatIsDone) {
  for (int index = 0; index < 300; ++index) {
    fs::copy_file(in_ / "a.png", in_ / ("more" + std::to_string(index) + ".png"));
  }
  const ChildResult result = StylizeRun::runCancelled({in_.string(), "-o", out(), "--style", "pencil"}, StylizeRun::withGpu(),
                                                      [&] { return fs::exists(fs::path(out()) / "b.png"); });
  EXPECT_EQ(result.exit_status, 130) << result.standard_error;
  EXPECT_THAT(linesOf(result.standard_error).back(), HasSubstr("cancelled"));
  const auto drawn = contentOf(out());
  EXPECT_GE(drawn.size(), 2U);
  EXPECT_LT(drawn.size(), 304U);
  for (const auto& [name, bytes] : drawn) {
    EXPECT_FALSE(name.ends_with(".part")) << name;
    EXPECT_EQ(loadPicture((fs::path(out()) / name).string()).size(), cv::Size(61, 47)) << name;
  }
}

TEST_F(StylizeBatch, PatternsAreExpandedByTheProgram) {
  const ChildResult result = run({(in_ / "**" / "[a-b].png").string(), "-o", out(), "--style", "pencil", "--quiet"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.standard_error, "");
  EXPECT_THAT(contentOf(out()), ElementsAre(testing::Key("a.png"), testing::Key("b.png")));
}

TEST_F(StylizeBatch, TwoPhotosForOneDrawingAreRefused) {
  savePicture((in_ / "a.jpg").string(), makePhoto({8, 8}));
  const ChildResult result = run({in_.string(), "-o", out(), "--style", "pencil", "--to", "png"});
  expectFailure(result, 2, "would both be drawn into");
  EXPECT_FALSE(fs::exists(out()));
}

// Each line is a whole object, from the begin to the end, and also while one photo takes long.
TEST_F(StylizeBatch, ProgressAsJson) {
  savePicture((in_ / "large.bmp").string(), makePhoto({4000, 3000}));
  const ChildResult result = run({in_.string(), "-o", out(), "--style", "stipple", "--quiet", "--progress", "json"});
  EXPECT_EQ(result.exit_status, 0);
  const auto lines = linesOf(result.standard_error);
  ASSERT_GE(lines.size(), 2U);
  double previous_s = 0;
  for (const std::string& line : lines) {
    const auto json = nlohmann::json::parse(line);
    EXPECT_EQ(json["total"], 5);
    EXPECT_EQ(json["unit"], "photos");
    EXPECT_LT(json["elapsed_seconds"].get<double>(), previous_s + 1) << line;
    previous_s = json["elapsed_seconds"];
  }
  EXPECT_EQ(nlohmann::json::parse(lines.front())["done"], 0);
  EXPECT_EQ(nlohmann::json::parse(lines.back())["done"], 5);
}

} // namespace
} // namespace vorin::tests
