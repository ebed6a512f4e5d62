// The failures of vorin-stylize: the right exit status, one line on standard error that says what to do,
// nothing on standard output, and not a file more or less than before.
#include "support/stylize_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

namespace vorin::tests {
namespace {

std::vector<FailureCase> failureCases() {
  const auto pencil = [](const std::string& input, const std::string& output, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {input, "-o", output, "--style", "pencil"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  };
  const auto with = [&](const std::vector<std::string>& more) { return pencil("%photo.png", "%out.png", more); };
  return {
      {"NoArguments", {}, 2, "no input named"},
      {"NoOutput", {"%photo.png", "--style", "pencil"}, 2, "add -o"},
      {"EmptyOutputName", pencil("%photo.png", ""), 2, "--output: an empty value"},
      {"NoStyle", {"%photo.png", "-o", "%out.png"}, 2, "pencil, stipple"},
      {"UnknownStyle", {"%photo.png", "-o", "%out.png", "--style", "oil"}, 2, "--style: oil not in {pencil"},
      {"UnknownOption", with({"--stile", "pencil"}), 2, "--stile: see vorin-stylize --help"},
      {"SizeZero", with({"--size", "0x10"}), 2, "640x480"},
      {"TooStrong", with({"--strength", "1.5"}), 2, "--strength: Value 1.5"},
      {"StrengthIsNoNumber", with({"--strength", "nan"}), 2, "--strength is not a number"},
      {"ResumeAndOverwrite", with({"--resume", "--overwrite"}), 2, "excludes --resume"},
      {"StyleImageForPencil", with({"--style-image", "%photo.png"}), 2, "--style-image applies to the style transfer only"},
      {"NetworkForPencil", with({"--network", "256"}), 2, "--network applies to the style transfer only"},
      {"NoStyleImage", {"%photo.png", "-o", "%out.png", "--style", "transfer"}, 2, "add --style-image"},
      {"InputBeforeSheet", {"%photo.png", "sheet", "%photo.jpg", "-o", "%out.png"}, 2, "photo.png' stands before 'sheet'"},
      {"OptionBeforeDevices", {"-o", "out.png", "devices"}, 2, "'--output' stands before 'devices'"},
      {"WordAfterDevices", {"devices", "one"}, 2, "one"},
      {"WordAfterVersion", {"--version", "one"}, 2, "--version stands alone"},
      {"TwoInputs", with({"%photo.jpg"}), 2, "names a file: name a folder with -o"},
      {"InputIsFolder", pencil("%folder.png", "%out.png"), 2, "names a file: name a folder with -o"},
      {"OutputIsAnotherInput", pencil("%photo.png", "%sub", {"%sub/photo.png", "--overwrite"}), 2, "among the inputs"},
      {"FolderIntoItself", pencil("%folder.png", "%folder.png"), 2, "among the inputs"},
      {"TwoInputsForOneResult", pencil("%photo.png", "%out", {"%photo.jpg", "%photo.jpg.png", "--to", "png"}), 2,
       "would both be written to"},
      {"KindForOne", with({"--to", "png"}), 2, "--to applies to many inputs only"},
      {"LooksForMany",
       {"%photo.png", "%photo.jpg", "-o", "%out", "--style", "transfer", "--style-image", "%folder.png"},
       2,
       "--style-image is a folder"},
      {"SizeForLooks",
       {"%photo.png", "-o", "%out.png", "--style", "transfer", "--style-image", "%folder.png", "--size", "64x64"},
       2,
       "which makes a sheet"},
      {"UnknownExtension", pencil("%photo.png", "%out.tiff"), 2, "use one of .png, .jpg"},
      {"NoExtension", pencil("%photo.png", "%out"), 2, "use one of .png, .jpg"},
      {"SheetIsNoImage", {"sheet", "%photo.png", "-o", "%out.mp4"}, 2, "use one of .png, .jpg"},
      {"MissingInput", pencil("%none.png", "%out.png"), 5, "does not exist"},
      {"MissingFolder", pencil("%none", "%out"), 5, "none' does not exist"},
      {"MissingInputIntoAFolder", pencil("%none.png", "%out/"), 5, "none.png' does not exist"},
      {"EmptyFolder", pencil("%folder.png", "%out"), 5, "there is no image or clip in"},
      {"NameWithLineBreak", pencil("%two\nlines.png", "%out.png"), 5, "does not exist"},
      {"InputIsText", pencil("%text.jpg", "%out.png"), 5, "not a PNG, JPEG, WebP, BMP, TIFF or GIF"},
      {"InputTooSmall", {"%tiny.png", "-o", "%out.png", "--style", "stipple"}, 5, "2x2 pixels is too small"},
      {"OutputExists", pencil("%photo.png", "%photo.jpg"), 5, "--overwrite"},
      {"OutputIsTheInput", pencil("%photo.png", "%photo.png", {"--overwrite"}), 2, "which is read"},
      {"OutputIsTheInputByALink", pencil("%photo.png", "%photo.jpg.png", {"--overwrite"}), 2, "which is read"},
      {"OutputIsTheStyleImage",
       {"%photo.jpg", "-o", "%photo.jpg.png", "--style", "transfer", "--style-image", "%photo.png", "--overwrite"},
       2,
       "which is read"},
      {"OneOutputIsTheStyleImage",
       {"%photo.jpg", "%text.jpg", "-o", "%", "--to", "png", "--style", "transfer", "--style-image", "%photo.png", "--overwrite"},
       2,
       "which is read"},
      {"SheetIsItsInput", {"sheet", "%photo.png", "-o", "%photo.jpg.png", "--overwrite"}, 2, "which is read"},
      {"OutputIsFolder", pencil("%photo.png", "%folder.png", {"--overwrite"}), 5, "is a folder"},
      {"OutputFolderMissing", pencil("%photo.png", "%none/out.png"), 5, "make it first"},
      {"OutputBelowFile", pencil("%photo.png", "%photo.jpg/out.png"), 5, "photo.jpg' is not a folder"},
      {"SheetWithoutInput", {"sheet", "-o", "%out.png"}, 2, "no input named"},
      {"SheetOfMissingInput", {"sheet", "%none.png", "-o", "%out.png"}, 5, "does not exist"},
      {"GpuMissing", with({"--device", "discrete"}), 4, "no discrete GPU here, and no other: see 'vorin-stylize devices'"},
  };
}

TEST(StylizeFailures, SayOneLineAndLeaveNothing) {
  const StylizeRun run;
  run.image("photo.jpg");
  const std::string before = readFile(run.image("photo.png"));
  fs::create_hard_link(run.file("photo.png"), run.file("photo.jpg.png")); // the same file
  std::ofstream(run.file("text.jpg")) << "not an image, however long this text may be: it begins like none of them\n";
  cv::Mat tiny(2, 2, CV_8UC3, cv::Scalar::all(0));
  tiny.row(0).setTo(cv::Scalar::all(255));
  savePicture(run.file("tiny.png"), tiny);
  fs::create_directory(run.file("folder.png"));
  fs::create_directory(run.file("sub"));
  fs::copy_file(run.file("photo.png"), run.file("sub/photo.png"));
  for (const FailureCase& failure : failureCases()) {
    run.expectFailureOf(failure, StylizeRun::withoutGpu());
    EXPECT_EQ(readFile(run.file("photo.png")), before);
  }
}

TEST(StylizeFailures, AreJsonTooWhereThatIsAskedFor) {
  const StylizeRun run;
  for (const auto& [style, status] : {std::pair("pencil", 5), {"o\x1Bil", 2}}) {
    const ChildResult result = StylizeRun::run({run.file("none.png"), "-o", run.file("out.png"), "--style", style, "--json"});
    const auto json = nlohmann::json::parse(result.standard_output);
    EXPECT_EQ(json["exit_status"], status);
    EXPECT_EQ("vorin-stylize: " + json["error"].get<std::string>() + "\n", result.standard_error);
    EXPECT_EQ(result.standard_error.find('\x1B'), std::string::npos);
  }
}

TEST(StylizeFailures, ProgramWithoutItsSoftwareDeviceSaysSo) {
  const StylizeRun run;
  fs::create_directory(run.file("bin"));
  const std::vector<std::string> line = {
      StylizeRun::copyProgram(run.folder() / "bin"), run.image("photo.png"), "-o", run.file("out.png"), "--style", "pencil"};
  expectFailure(ChildProcess(line, StylizeRun::withoutGpu()).wait(), 4, "the software device is not installed");
  EXPECT_EQ(run.names(), std::set<std::string>({"bin", "photo.png"}));
}

TEST(StylizeFailures, PrecisionIsThatOfTheActiveStandIns) {
  const StylizeRun run;
  expectFailure(run.restyle({"--style", "pencil", "--precision", "bf16"}), 2, "stand-ins compute in f32");
  EXPECT_EQ(run.restyle({"--style", "pencil", "--precision", "f32"}).exit_status, 0);
}

// The stand-in is of the integrated kind.
TEST(StylizeFailures, KindOfTheOnlyGpuIsNamed) {
  expectFailure(StylizeRun().restyle({"--style", "pencil", "--device", "discrete"}), 4, "only integrated ones");
}

} // namespace
} // namespace vorin::tests
