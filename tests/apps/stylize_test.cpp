// vorin-stylize without faults: the real program, as a child process, on real images.
#include "support/opencl_filter_reference.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace vorin::tests {
namespace {

using namespace testing;

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
  for (const auto& [output, size] : {std::pair<std::string, cv::Size>("out.png", {131, 97}), {"OUT.Jpeg", {33, 57}}}) {
    const StylizeRun run;
    const std::string size_text = std::to_string(size.width) + "x" + std::to_string(size.height);
    std::vector<std::string> arguments = {run.image("photo.png", {131, 97}), "-o", run.file(output), "--style", "pencil"};
    if (size.width != 131) {
      arguments.insert(arguments.end(), {"--size", size_text});
    }
    const ChildResult result = StylizeRun::run(arguments);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(linesOf(result.standard_error),
                ElementsAre(AllOf(StartsWith("vorin-stylize: style pencil, no network, software device"),
                                  HasSubstr("made active by VORIN_SOFTGPU=1")),
                            AllOf(HasSubstr(output), HasSubstr(": " + size_text + ", pencil, "), HasSubstr(" ms per frame"))));
    EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", output}));
    const cv::Mat picture = loadPicture(run.file(output));
    EXPECT_EQ(picture.size(), size);
    if (size.width == 131) {
      EXPECT_TRUE(areEqual(picture, sketchOf(makePicture(size)), 1));
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
