// vorin-stylize without faults: the real program, as a child process, on real images.
#include "support/opencl_filter_reference.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;
using testing::_;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// The sketch of a picture by the plain computation. Roundings may differ by one.
cv::Mat sketchOf(const cv::Mat& bgr) {
  Picture picture(bgr.cols, bgr.rows);
  cv::cvtColor(bgr, cv::Mat(bgr.size(), CV_8UC4, picture.bytes.data()), cv::COLOR_BGR2BGRA);
  const Picture sketch = plainPencilSketch(picture, 1, nullptr);
  cv::Mat result;
  cv::cvtColor(cv::Mat(bgr.size(), CV_8UC4, const_cast<std::uint8_t*>(sketch.bytes.data())), result, cv::COLOR_BGRA2BGR);
  return result;
}

TEST(Stylize, WritesTheStylesResultAndReportsIt) {
  struct Case {
    std::string output;
    std::vector<std::string> options;
    cv::Size size;
  };
  for (const Case& each : {Case{"out.png", {}, {131, 97}}, Case{"OUT.Jpeg", {"--size", "33x57"}, {33, 57}}}) {
    const StylizeRun run;
    std::vector<std::string> arguments = {run.image("photo.png", {131, 97}), "-o", run.file(each.output), "--style", "pencil"};
    arguments.insert(arguments.end(), each.options.begin(), each.options.end());
    const ChildResult result = StylizeRun::run(arguments);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.standard_output, "");
    const std::string size = std::to_string(each.size.width) + "x" + std::to_string(each.size.height);
    EXPECT_THAT(linesOf(result.standard_error),
                ElementsAre(AllOf(StartsWith("vorin-stylize: style pencil, no network, software device"),
                                  HasSubstr("made active by VORIN_SOFTGPU=1")),
                            AllOf(HasSubstr(each.output + ": " + size + ", pencil, "), HasSubstr(" ms per frame"))));
    EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", each.output}));
    const cv::Mat picture = loadPicture(run.file(each.output));
    EXPECT_EQ(picture.size(), each.size);
    if (each.options.empty()) {
      EXPECT_TRUE(areEqual(picture, sketchOf(makePicture(each.size)), 1));
    }
  }
}

TEST(Stylize, StrengthBlendsWithTheInput) {
  const StylizeRun run;
  const cv::Mat input = makePicture({61, 47});
  const auto restyled = [&](std::vector<std::string> options) {
    options.insert(options.end(), {"--style", "pencil", "--overwrite"});
    EXPECT_EQ(run.restyle(options).exit_status, 0);
    return loadPicture(run.file("out.png"));
  };
  EXPECT_TRUE(areEqual(restyled({"--strength", "0", "--keep-colors"}), input));
  cv::Mat half;
  cv::addWeighted(input, 0.5, restyled({}), 0.5, 0, half);
  EXPECT_TRUE(areEqual(restyled({"--strength", "0.5"}), half, 1));
  EXPECT_GT(cv::norm(restyled({"--keep-colors"}), restyled({}), cv::NORM_INF), 50);
}

TEST(Stylize, AutoGoesOnWithTheSoftwareDeviceAndSaysSo) {
  const StylizeRun run;
  const ChildResult result = run.restyle({"--style", "stipple"}, StylizeRun::withoutGpu());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(linesOf(result.standard_error), ElementsAre(AllOf(HasSubstr("software device"), HasSubstr("no GPU found")), _));
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", "out.png"}));
}

// An image of one colour gives a result of nearly one colour, which must not count as that of a broken device.
TEST(Stylize, ImageOfOneColourIsRestyledQuietly) {
  for (const int grey : {0, 255}) {
    const StylizeRun run;
    savePicture(run.file("flat.png"), cv::Mat(40, 50, CV_8UC3, cv::Scalar::all(grey)));
    const ChildResult result =
        StylizeRun::run({run.file("flat.png"), "-o", run.file("out.png"), "--style", "stipple", "-q"}, StylizeRun::withoutGpu());
    EXPECT_EQ(result.exit_status, 0) << grey;
    EXPECT_EQ(result.standard_output + result.standard_error, "") << grey;
  }
}

TEST(Stylize, WorksFromAnyFolderWithAnyName) {
  const StylizeRun run;
  const fs::path folder = run.folder() / u8"Eine Mappe für Bilder 雪";
  fs::create_directory(folder);
  fs::rename(run.image("photo.png"), folder / u8"Möwe 1.png");
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = folder;
  const ChildResult result = StylizeRun::run({"Möwe 1.png", "-o", "Skizze ✏.png", "--style", "pencil"}, setting);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.standard_error, HasSubstr("Skizze ✏.png: 61x47"));
  fs::rename(folder / u8"Skizze ✏.png", run.file("out.png"));
  EXPECT_EQ(loadPicture(run.file("out.png")).size(), cv::Size(61, 47));
}

TEST(Stylize, ListsDevicesAsDataOnly) {
  const ChildResult with_gpu = StylizeRun::run({"devices"});
  EXPECT_EQ(with_gpu.exit_status, 0);
  EXPECT_THAT(linesOf(with_gpu.standard_output), ElementsAre(StartsWith("integrated\t")));
  EXPECT_EQ(with_gpu.standard_error, "");
  const ChildResult without_gpu = StylizeRun::run({"devices"}, StylizeRun::withoutGpu());
  EXPECT_EQ(without_gpu.exit_status, 0);
  EXPECT_EQ(without_gpu.standard_output, "");
  EXPECT_THAT(linesOf(without_gpu.standard_error), ElementsAre(HasSubstr("software")));
}

TEST(Stylize, HelpAndVersionGoToStandardOutput) {
  const ChildResult version = StylizeRun::run({"--version"});
  EXPECT_EQ(version.exit_status, 0);
  EXPECT_THAT(version.standard_output, HasSubstr("vorin_stt 0.5\n"));
  const ChildResult help = StylizeRun::run({"--help"});
  EXPECT_EQ(help.exit_status, 0);
  const ChildResult sheet = StylizeRun::run({"sheet", "--help"});
  EXPECT_THAT(help.standard_output, AllOf(HasSubstr("[input...]"), HasSubstr("Exit status"), HasSubstr("Examples")));
  EXPECT_THAT(sheet.standard_output, HasSubstr("[image...]"));
  for (const std::string& line : linesOf(help.standard_output + sheet.standard_output)) {
    EXPECT_LE(line.size(), 80U) << line;
  }
  EXPECT_EQ(version.standard_error + help.standard_error, "");
}

} // namespace
} // namespace vorin::tests
