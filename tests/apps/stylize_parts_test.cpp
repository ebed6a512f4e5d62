// The pieces of vorin-stylize that are worth testing alone: sizes, lists of inputs, progress, captions, and a package's
// expected results.
#include "contact_sheet.h"
#include "files.h"
#include "options.h"
#include "progress.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "support/stylize_run.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin::tests {
namespace {

using namespace vorin::stylize;

TEST(StylizeParts, SizesArePlainDecimalNumbers) {
  for (const char* text : {"",           "x",
                           "640",        "%",
                           "0%",         "10001%",
                           "0x1",        "1x0",
                           "-1x1",       "+1x1",
                           "1x-1",       " 1x1",
                           "1x1 ",       "1X1",
                           "1.5%",       "1x1x1",
                           "1.5x1",      "0x10x1",
                           "16385x1",    "1x16385",
                           "16384x8193", "18446744073709551617x1"}) {
    EXPECT_EQ(parseSize(text), std::nullopt) << text;
  }
}

TEST(StylizeParts, TimesAreSecondsOrHaveColons) {
  for (const auto& [text, seconds] : {std::pair("90.5", 90.5), {"1:30", 90}, {"0:01:30.25", 90.25}, {"120:05", 7205}, {"0", 0}}) {
    EXPECT_EQ(parseTime(text), seconds) << text;
  }
  for (const char* text : {"", "-1", "+1", "1e3", "1:60", "1.5:30", "1:2:3:4", ":30", "1:", "nan", "1 ", "1:-5", "0:99999999"}) {
    EXPECT_EQ(parseTime(text), std::nullopt) << text;
  }
}

// Of pictures of 720x576: a photo, a clip with pixels of 16:15 (shown as 768x576), and the same on its side.
TEST(StylizeParts, SizesMeanThePictureAsItIsShown) {
  media::SourceInfo image;
  image.size = {720, 576};
  image.frames_expected = 1;
  media::SourceInfo clip = image;
  clip.frames_expected = 100;
  media::detailsOf(clip).pixel_aspect = {16, 15};
  media::SourceInfo turned = media::withSquarePixels(clip);
  media::detailsOf(turned).pixel_aspect = {16, 15};
  media::detailsOf(turned).rotation = {0, 1 << 16, 0, -(1 << 16), 0, 0, 0, 0, 1 << 30};
  struct Case {
    const char* text;
    media::Size image;
    media::Size clip;
    media::Size turned; // as it is stored
  };
  for (const Case& each : {Case{"640x480", {640, 480}, {640, 480}, {480, 640}}, Case{"384x", {384, 307}, {384, 288}, {512, 384}},
                           Case{"x100", {125, 100}, {134, 100}, {100, 76}}, Case{"50%", {360, 288}, {384, 288}, {384, 288}}}) {
    Options options;
    options.size = parseSize(each.text);
    EXPECT_EQ(resultSize(options, image), each.image) << each.text;
    EXPECT_EQ(resultSize(options, clip), each.clip) << each.text;
    EXPECT_EQ(resultSize(options, turned), each.turned) << each.text;
  }
  Options options;
  options.size = parseSize("10000%");
  EXPECT_THROW(resultSize(options, image), Error);
}

TEST(StylizeParts, InputsMirrorTheTreeBelowTheCommonFolder) {
  const TemporaryFolder folder;
  for (const std::string name :
       {"in/a.jpg", "in/sub/deep/b.PNG", "in/sub/c.webp", "in/text.txt", "in/.hidden.jpg", "in/.dir/d.jpg", "in/out/old.png",
        "other/a.gif", "other/e.bmp", "other/f.AVI", "other/g.webm"}) {
    fs::create_directories((folder.path() / name).parent_path());
    std::ofstream(folder.path() / name).close();
  }
  const auto results = [&](std::vector<fs::path> names, const char* kind = "", const char* codec = "") {
    for (fs::path& name : names) {
      name = folder.path() / name;
    }
    std::vector<std::string> listed;
    for (const Input& input : listInputs(names, folder.path() / "in/out", true)) {
      Options options;
      options.to = kind;
      options.sink.codec = codec;
      listed.push_back(outputFor(input, options).generic_string());
    }
    return listed;
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(results({"in"}), (Names{"a.jpg", "sub/c.webp", "sub/deep/b.PNG"}));
  EXPECT_EQ(results({"in"}, ".bmp"), (Names{"a.bmp", "sub/c.bmp", "sub/deep/b.bmp"}));
  EXPECT_EQ(results({"in/sub/c.webp", "in/a.jpg", "in", "in/none.jpg"}),
            (Names{"sub/c.webp", "a.jpg", "sub/deep/b.PNG", "none.jpg"}));
  EXPECT_EQ(results({"in/sub", "other", "other/e.bmp"}),
            (Names{"in/sub/c.webp", "in/sub/deep/b.PNG", "other/a.png", "other/e.bmp", "other/f.mkv", "other/g.webm"}));
  for (const auto& [codec, expected] : {std::pair("h264", "g.mkv"), {"vp9", "g.webm"}, {"libvpx-vp9", "g.webm"}}) {
    EXPECT_EQ(results({"other"}, "", codec).back(), expected) << codec;
  }
}

TEST(StylizeParts, ProgressShowsRateAndTimeLeft) {
  const ProgressState state = {30, 120, 15};
  EXPECT_EQ(progressLine(state, "frames"), "25 %, 30 of 120 frames, 2.0 a second, 0:45 left");
  EXPECT_EQ(progressBar(state, "frames", 200), "[######..................]  25 %  30 of 120 frames, 2.0 a second, 0:45 left");
  EXPECT_EQ(progressBar(state, "frames", 40).size(), 39U);
  EXPECT_EQ(progressLine({1, 1, 0.5}, "images"), "100 %, 1 of 1 image, 2.0 a second, 0:00 left");
  EXPECT_EQ(progressLine({7200, std::nullopt, 2}, "frames"), "7200 frames, 3600.0 a second");
  EXPECT_EQ(progressLine({1, 4001, 1}, "frames"), "0 %, 1 of 4001 frames, 1.0 a second, 1:06:40 left");
}

TEST(StylizeParts, CaptionsAreWrittenWithPlainLetters) {
  const auto sheet = [](const char* caption) {
    return makeContactSheet({{{cv::Mat(40, 200, CV_8UC3, cv::Scalar::all(90)), caption}}});
  };
  for (const auto& [caption, plain] :
       {std::pair("sp\u00E4\u00DF \u00FC x", "spas u x"), std::pair("a\u0308 \u0141\u00F3d\u017A", "a Lodz"),
        std::pair("\u65E5\u672C \U0001F600", "?? ?"), std::pair("\xE4\xC3", "??")}) {
    EXPECT_TRUE(areEqual(sheet(caption), sheet(plain))) << caption;
  }
  EXPECT_FALSE(areEqual(sheet("a"), sheet("o")));
}

// The examples of FIPS 180-2.
TEST(StylizeParts, SumsOfSha256AreTheStandards) {
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "file";
  std::ofstream(file) << "xabcx" << std::string(1000000, 'a');
  EXPECT_EQ(base::sha256OfFile(file, 1, 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(base::sha256OfFile(file, 5, 1000000), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_EQ(base::sha256OfFile(file, 0, 0), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

} // namespace
} // namespace vorin::tests
