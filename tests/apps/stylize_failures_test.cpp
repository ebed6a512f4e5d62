// What vorin-stylize does when something is wrong: the right exit status, one line on standard error that says what to do,
// nothing on standard output, and not a file more or less than before.

#include "image_file.h"
#include "support/stylize_run.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin::tests {
namespace {

struct FailureCase {
  std::string name;
  std::vector<std::string> arguments; // a "%" in front stands for the folder
  int exit_status;
  std::string said; // part of the one line
};

std::vector<FailureCase> failureCases() {
  const auto stylize = [](const std::string& photo, const std::string& output,
                          std::vector<std::string> more = {"--style", "pencil"}) {
    more.insert(more.begin(), {photo, "-o", output});
    return more;
  };
  const auto sized = [&](const std::string& size, const std::string& format) {
    return stylize("%photo.png", "%out.png", {"--style", "pencil", "--size", size, "--format", format});
  };
  return {
      {"NoArguments", {}, 2, "no photo named"},
      {"NoOutput", {"%photo.png", "--style", "pencil"}, 2, "add -o"},
      {"EmptyOutputName", stylize("%photo.png", ""), 2, "-o"},
      {"NoStyle", stylize("%photo.png", "%out.png", {}), 2, "pencil, stipple"},
      {"UnknownStyle", stylize("%photo.png", "%out.png", {"--style", "oil"}), 2, "pencil, stipple"},
      {"UnknownDevice", stylize("%photo.png", "%out.png", {"--style", "pencil", "--device", "toaster"}), 2, "auto, integrated"},
      {"UnknownPrecision", stylize("%photo.png", "%out.png", {"--style", "pencil", "--precision", "f16"}), 2, "f32, bf16"},
      {"UnknownFormat", sized("8x8", "rgb565"), 2, "bgra, rgba, bgr24, nv12, yuy2"},
      {"UnknownOption", stylize("%photo.png", "%out.png", {"--stile", "pencil"}), 2, "--help"},
      {"OptionWithoutValue", {"%photo.png", "-o"}, 2, "--help"},
      {"TwoPhotos", stylize("%photo.png", "%out.png", {"%photo.jpg", "--style", "pencil"}), 2,
       "names a picture: name a folder with -o"},
      {"EmptyFolderOfModels", stylize("%photo.png", "%out.png", {"--style", "cartoon", "--models", ""}), 2, "--models"},
      {"WordsBeforeDevices", {"one", "two", "devices"}, 2, "leave 'one' out"},
      {"WordsAfterDevices", {"devices", "one"}, 2, "one"},
      {"OptionBeforeDevices", {"-o", "out.png", "devices"}, 2, "leave 'out.png' out"},
      {"WordsAfterVersion", {"--version", "one"}, 2, "leave 'one' out"},
      {"CommandAfterVersion", {"--version", "devices"}, 2, "leave 'devices' out"},
      {"PhotoBeforeSheet", {"%photo.png", "sheet", "%photo.jpg", "-o", "%out.png"}, 2, "photo.png' stands before 'sheet'"},
      {"SizeZero", sized("0x10", "bgra"), 2, "640x480"},
      {"SizeBeyondSide", sized("16385x1", "bgra"), 2, "16384"},
      {"SizeBeyondPixels", sized("16384x16384", "bgra"), 2, "134217728"},
      {"OddWidthForNv12", sized("33x20", "nv12"), 2, "even"},
      {"OddHeightForYuy2", sized("32x21", "yuy2"), 2, "even"},
      {"UnknownExtension", stylize("%photo.png", "%out.tiff"), 2, stylize::pictureExtensions()},
      {"NoExtension", stylize("%photo.png", "%out"), 2, ".png"},
      {"MissingPhoto", stylize("%none.png", "%out.png"), 5, "does not exist"},
      {"MissingFolder", stylize("%none", "%out"), 5, "none' does not exist"},
      {"MissingPhotoIntoAFolder", stylize("%none.png", "%out/"), 5, "none.png' does not exist"},
      {"PhotoIsFolder", stylize("%folder.png", "%out.png"), 2, "names a picture: name a folder with -o"},
      {"PhotoIsEmptyFolder", stylize("%folder.png", "%out"), 5, "there is no photo in"},
      {"FolderIntoItself", stylize("%folder.png", "%folder.png"), 2, "among the photos"},
      {"PatternOfNothing", stylize("%none*.png", "%out"), 5, "none*.png' does not exist"},
      {"UnknownKind", stylize("%folder.png", "%out", {"--style", "pencil", "--to", "tiff"}), 2, "--to"},
      {"KindForOne", stylize("%photo.png", "%out.png", {"--style", "pencil", "--to", "png"}), 2, "--to"},
      {"TooStrong", stylize("%photo.png", "%out.png", {"--style", "pencil", "--strength", "1.5"}), 2, "from 0 (the photo)"},
      {"StrengthIsNoNumber", stylize("%photo.png", "%out.png", {"--style", "pencil", "--strength", "0,5"}), 2, "write it as 0.5"},
      {"ResumeAndOverwrite", stylize("%photo.png", "%out.png", {"--style", "pencil", "--resume", "--overwrite"}), 2, "leave one"},
      {"UnknownProgress", stylize("%photo.png", "%out.png", {"--style", "pencil", "--progress", "dots"}), 2, "auto, json"},
      {"UnknownShell", {"completion", "fish"}, 2, "bash"},
      {"PhotoEmpty", stylize("%empty.png", "%out.png"), 5, "is empty"},
      {"PhotoIsText", stylize("%text.jpg", "%out.png"), 5, "not a PNG, JPEG, WebP or BMP"},
      {"PhotoTruncatedPng", stylize("%cut.png", "%out.png"), 5, "truncated"},
      {"PhotoTruncatedJpeg", stylize("%cut.jpg", "%out.png"), 5, "truncated"},
      {"PhotoTruncatedWebp", stylize("%cut.webp", "%out.png"), 5, "truncated"},
      {"PhotoTruncatedBmp", stylize("%cut.bmp", "%out.png"), 5, "truncated"},
      {"PhotoDamaged", stylize("%damaged.png", "%out.png"), 5, "damaged"},
      {"PhotoTooSmall", stylize("%tiny.png", "%out.png", {"--style", "stipple"}), 5, "2x2 pixels is too small"},
      {"PhotoAbsurdlyLarge", stylize("%absurd.png", "%out.png"), 5, "100000x100000"},
      {"NameWithLineBreak", stylize("%two\nlines.png", "%out.png"), 5, "does not exist"},
      {"OutputExists", stylize("%photo.png", "%photo.jpg"), 5, "--overwrite"},
      {"OutputIsThePhoto", stylize("%photo.png", "%photo.png"), 5, "--overwrite"},
      {"OutputIsFolder", stylize("%photo.png", "%folder.png", {"--style", "pencil", "--overwrite"}), 5, "is a folder"},
      {"OutputFolderMissing", stylize("%photo.png", "%none/out.png"), 5, "make it first"},
      {"OutputBelowFile", stylize("%photo.png", "%photo.jpg/out.png"), 5, "photo.jpg' is not a folder"},
      {"OutputFarBelowFile", stylize("%photo.png", "%photo.jpg/none/out.png"), 5, "photo.jpg' is not a folder"},
      {"SheetWithoutPhoto", {"sheet", "-o", "%out.png"}, 2, "no photo named"},
      {"SheetOfMissingPhoto", {"sheet", "%none.png", "-o", "%out.png"}, 5, "does not exist"},
      {"IntegratedGpuMissing", stylize("%photo.png", "%out.png", {"--style", "pencil", "--device", "integrated"}), 4,
       "no GPU of the kind integrated here, nor any other: see 'vorin-stylize devices'"},
      {"DiscreteGpuMissing", stylize("%photo.png", "%out.png", {"--style", "pencil", "--device", "discrete"}), 4,
       "no GPU of the kind discrete here, nor any other: see 'vorin-stylize devices'"},
  };
}

void cutInHalf(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::copy_file(from, to);
  std::filesystem::resize_file(to, std::filesystem::file_size(from) / 2);
}

// A PNG whose header claims 100000 x 100000 pixels; the rest is sound.
void claimAbsurdSize(const std::filesystem::path& png) {
  std::fstream file(png, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(16);
  file.write("\x00\x01\x86\xA0\x00\x01\x86\xA0", 8);
}

// Bytes in the middle of the compressed pixels turned round: the structure stays whole, the checksum does not.
void damage(const std::filesystem::path& png) {
  std::fstream file(png, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(std::filesystem::file_size(png) / 2));
  file.write("\xA5\x5A\xA5\x5A\xA5\x5A\xA5\x5A", 8);
}

class StylizeFailure : public testing::TestWithParam<FailureCase> {
protected:
  void SetUp() override {
    for (const std::string extension : {".png", ".jpg", ".bmp"}) {
      cutInHalf(run_.photo("photo" + extension, {61, 47}), run_.file("cut" + extension));
    }
    // 64 bytes are announced.
    std::ofstream(run_.file("cut.webp"), std::ios::binary)
        << std::string("RIFF\x40\0\0\0WEBPVP8L\x38\0\0\0\x2F", 21) + std::string(20, '1');
    claimAbsurdSize(run_.photo("absurd.png", {9, 9}));
    damage(run_.photo("damaged.png", {61, 47}));
    std::ofstream(run_.file("empty.png")).close();
    std::ofstream(run_.file("text.jpg")) << "not a picture, however long this text may be: it begins like none of them\n";
    savePicture(run_.file("tiny.png"), cv::Mat::diag(cv::Mat(2, 1, CV_8U, cv::Scalar::all(255))));
    std::filesystem::create_directory(run_.file("folder.png"));
  }

  StylizeRun run_;
};

TEST_P(StylizeFailure, SaysOneLineAndLeavesNothing) {
  const FailureCase& failure = GetParam();
  const auto names_before = run_.names();
  const std::string photo_before = readFile(run_.file("photo.png"));
  const ChildResult result = StylizeRun::run(run_.inFolder(failure.arguments), StylizeRun::withoutGpu());
  expectFailure(result, failure.exit_status, failure.said);
  EXPECT_EQ(run_.names(), names_before);
  EXPECT_EQ(readFile(run_.file("photo.png")), photo_before);
}

INSTANTIATE_TEST_SUITE_P(All, StylizeFailure, testing::ValuesIn(failureCases()),
                         [](const auto& each) { return each.param.name; });

TEST(StylizeFailures, GpuThatDoesNotDrawIsAnErrorWhenAskedForByName) {
  const StylizeRun run;
  expectFailure(run.draw({"--style", "stipple", "--device", "integrated"}, StylizeRun::withGpuThatDoesNotDraw()), 4,
                "--device software");
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png"}));
}

TEST(StylizeFailures, ProgramWithoutItsStandInsSaysSo) {
  const StylizeRun run;
  ChildSetting setting = StylizeRun::withoutGpu();
  const std::string lonely = StylizeRun::copyProgram(run.folder(), setting);
  const std::string photo = run.photo("photo.png", {61, 47});
  expectFailure(ChildProcess({lonely, photo, "-o", run.file("out.png"), "--style", "pencil"}, setting).wait(), 4, "softgpu");
  EXPECT_EQ(run.names(), std::set<std::string>({StylizeRun::programName(), "photo.png"}));
}

// A runtime whose CPU plugin cannot be loaded has no GPU to offer either: the program goes on and is told why.
TEST(StylizeFailures, StandInWithoutTheCpuPluginSaysSo) {
  const TemporaryFolder runtime;
  for (const auto& entry : std::filesystem::directory_iterator(StylizeRun::standInRuntime())) {
    if (entry.path().stem().string().find("openvino_intel_cpu_plugin") == std::string::npos) {
      std::filesystem::copy(entry.path(), runtime.path() / entry.path().filename(), std::filesystem::copy_options::copy_symlinks);
    }
  }
  const ChildResult result = StylizeRun::run({"devices"}, StylizeRun::withGpu(runtime.path()));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_NE(result.standard_error.find("softgpu: no stand-in for OpenVINO's GPU: "), std::string::npos) << result.standard_error;
}

// A stand-in that is said to be active but shows no GPU must not make the program start itself again and again.
TEST(StylizeFailures, NeverRestartsTwice) {
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.variables["VORIN_SOFTGPU"] = "1";
  expectFailure(StylizeRun().draw({"--style", "pencil"}, setting), 4, "");
}

TEST(StylizeFailures, PrecisionCannotChangeOnceTheSoftwareDeviceIsActive) {
  const StylizeRun run;
  expectFailure(run.draw({"--style", "pencil", "--precision", "bf16"}, StylizeRun::withGpu()), 2, "");
  EXPECT_EQ(run.draw({"--style", "pencil", "--precision", "f32"}, StylizeRun::withGpu()).exit_status, 0);
}

// The stand-in is of the integrated kind.
TEST(StylizeFailures, NamesTheKindThatThereIs) {
  expectFailure(StylizeRun().draw({"--style", "pencil", "--device", "discrete"}, StylizeRun::withGpu()), 4,
                "only of the kind integrated");
}

// On the device that is there, and on the one that the program starts itself again for. The temporary beside the output shows
// that the work has begun; the drawing itself then takes much longer than one look.
TEST(StylizeFailures, CancelledWorkLeavesNothing) {
  for (const ChildSetting& setting : {StylizeRun::withGpu(), StylizeRun::withoutGpu()}) {
    const StylizeRun run;
    const std::string photo = run.photo("photo.bmp", {4000, 3000});
    const ChildResult result = StylizeRun::runCancelled({photo, "-o", run.file("out.png"), "--style", "stipple", "--quiet"},
                                                        setting, [&] { return run.names().size() == 2; });
    EXPECT_EQ(result.exit_status, 130);
    EXPECT_EQ(result.standard_error, "vorin-stylize: cancelled\n");
    EXPECT_EQ(run.names(), std::set<std::string>({"photo.bmp"}));
  }
}

} // namespace
} // namespace vorin::tests
