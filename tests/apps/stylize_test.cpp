// What vorin-stylize does when all is well: the real program, as a child process, on real files.

#include "image_file.h"
#include "support/api_object.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace vorin::tests {
namespace {

using testing::_;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// The drawing that the library itself gives, through its public header, for a 32-bit frame of the photo.
cv::Mat drawnByLibrary(const cv::Mat& photo_bgr, SttStyleType style, cv::Size size) {
  const Object object = makeObject();
  const SttDeviceRequest request = {SttDeviceAnyGpu, 0, ""};
  SttDeviceRecord* device = nullptr;
  EXPECT_EQ(object->CreateDevice(&request, &device), VORIN_STATUS_OK) << "this test runs under scripts/with-softgpu";
  configure(*object, style, size.width, size.height);
  EXPECT_EQ(object->Prepare(nullptr), VORIN_STATUS_OK);
  cv::Mat frame;
  cv::cvtColor(photo_bgr, frame, cv::COLOR_BGR2BGRA);
  cv::Mat drawing(size, CV_8UC4, cv::Scalar::all(0));
  const cv::Size_<std::uint32_t> frame_size = frame.size();
  SttFrame input{VORIN_MEM_SYSTEM, frame.data, VORIN_FMT_BGRA, frame_size.width, frame_size.height, frame_size.width * 4};
  SttFrame output{VORIN_MEM_SYSTEM, drawing.data, VORIN_FMT_BGRA, 0, 0, 0};
  EXPECT_EQ(object->ProcessFrame(nullptr, &input, nullptr, &output), VORIN_STATUS_OK);
  cv::Mat bgr;
  cv::cvtColor(drawing, bgr, cv::COLOR_BGRA2BGR);
  return bgr;
}

double meanDifference(const cv::Mat& a, const cv::Mat& b) {
  return cv::norm(a, b, cv::NORM_L1) / static_cast<double>(a.total() * 3);
}

struct DrawingCase {
  std::string style;
  SttStyleType type;
  std::string format;
  std::string size; // empty: the photo's
  std::string output;
  double tolerance; // mean difference from what the library draws from the 32-bit frame
};

// bgra, rgba, bgr24: the very bytes that the library draws. nv12, yuy2: luma has 219 steps for 256, which moves the drawing by 4
// on average; red and blue swapped move it by 11, a wrong range by 14, a shift by one column by 30. JPEG blurs the lines of a
// drawing, by 1.5 (by 7 where its quality cannot be chosen); WebP files are written without loss. Nothing drawn at all would be
// 43 and more away.
constexpr double kExact = 0;
constexpr double kYuv = 6;
const double kJpeg = jpegQualityIsKept() ? 3 : 9;

std::vector<DrawingCase> drawingCases() {
  std::vector<DrawingCase> cases = {
      {"pencil", SttStylePencilSketch, "bgra", "", "out.png", kExact},
      {"pencil", SttStylePencilSketch, "bgra", "33x57", "out.bmp", kExact},
      {"pencil", SttStylePencilSketch, "rgba", "", "out.png", kExact},
      {"pencil", SttStylePencilSketch, "bgr24", "40x31", "out.png", kExact},
      {"pencil", SttStylePencilSketch, "nv12", "", "out.png", kYuv},
      {"pencil", SttStylePencilSketch, "nv12", "64x48", "out.png", kYuv},
      {"pencil", SttStylePencilSketch, "yuy2", "", "out.png", kYuv},
      {"pencil", SttStylePencilSketch, "yuy2", "64x48", "out.png", kYuv},
      {"stipple", SttStyleStippling, "bgra", "", "out.png", kExact},
      {"stipple", SttStyleStippling, "rgba", "1x1", "out.png", kExact},
      {"stipple", SttStyleStippling, "nv12", "", "out.jpg", kYuv + kJpeg},
      {"pencil", SttStylePencilSketch, "bgra", "", "out.jpeg", kJpeg},
      {"pencil", SttStylePencilSketch, "bgra", "", "OUT.WebP", kExact},
  };
  // Windows writes no WebP files.
  std::erase_if(cases, [](const DrawingCase& each) { return !stylize::isPictureName(each.output); });
  return cases;
}

class StylizeDrawing : public testing::TestWithParam<DrawingCase> {};

TEST_P(StylizeDrawing, IsWhatTheLibraryDraws) {
  const DrawingCase& each = GetParam();
  constexpr int kWidth = 131; // odd, so that nv12 and yuy2 have to pad and crop
  constexpr int kHeight = 97;
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {kWidth, kHeight});
  std::vector<std::string> arguments = {photo, "-o", run.file(each.output), "--style", each.style, "--format", each.format};
  cv::Size size(kWidth, kHeight);
  if (!each.size.empty()) {
    arguments.insert(arguments.end(), {"--size", each.size});
    size = {std::stoi(each.size), std::stoi(each.size.substr(each.size.find('x') + 1))};
  }
  const ChildResult result = StylizeRun::run(arguments, StylizeRun::withGpu());
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "");
  const std::string drawn = std::to_string(size.width) + "x" + std::to_string(size.height) + ", " + each.style;
  EXPECT_THAT(linesOf(result.standard_error),
              ElementsAre(StartsWith("vorin-stylize: style " + each.style + ", no network, software device"),
                          AllOf(HasSubstr(drawn), HasSubstr("ms per frame"))));
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", each.output}));
  const cv::Mat drawing = loadPicture(run.file(each.output));
  ASSERT_EQ(drawing.size(), size);
  ASSERT_EQ(drawing.type(), CV_8UC3);
  // What the library sees of the photo where it is drawn in another size: for nv12 and yuy2 the even photo, which here is the
  // photo with its last column and row repeated.
  const bool is_padded = each.tolerance == kYuv && !each.size.empty();
  cv::Mat seen = makePhoto(is_padded ? cv::Size(kWidth + 1, kHeight + 1) : cv::Size(kWidth, kHeight));
  if (each.format == "bgr24") { // the library shows its filters 24-bit frames with red and blue exchanged
    cv::cvtColor(seen, seen, cv::COLOR_BGR2RGB);
  }
  EXPECT_LE(meanDifference(drawing, drawnByLibrary(seen, each.type, size)), each.tolerance);
}

INSTANTIATE_TEST_SUITE_P(All, StylizeDrawing, testing::ValuesIn(drawingCases()), [](const auto& each) {
  std::string name = each.param.style + "_" + each.param.format + "_" + each.param.size + "_" + each.param.output;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

TEST(Stylize, AutoGoesOnWithTheSoftwareDeviceAndSaysSo) {
  const StylizeRun run;
  const ChildResult result = run.draw({"--style", "stipple"}, StylizeRun::withoutGpu());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(linesOf(result.standard_error), ElementsAre(AllOf(HasSubstr("software device"), HasSubstr("no GPU found")), _));
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", "out.png"}));
}

TEST(Stylize, QuietSaysNothingAtAll) {
  const ChildResult result = StylizeRun().draw({"--style", "pencil", "--quiet"}, StylizeRun::withoutGpu());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.standard_output + result.standard_error, "");
}

// A photo of one grey only gives a drawing of nearly one grey: not to be taken for a filter that does not draw.
TEST(Stylize, PhotoOfOneColourIsDrawn) {
  for (const int grey : {0, 255}) {
    const StylizeRun run;
    savePicture(run.file("flat.png"), cv::Mat(40, 50, CV_8UC3, cv::Scalar::all(grey)));
    for (const std::string format : {"bgra", "yuy2", "nv12"}) {
      const ChildResult result = StylizeRun::run({run.file("flat.png"), "-o", run.file("out.png"), "--style", "stipple",
                                                  "--format", format, "--device", "integrated", "--overwrite"},
                                                 StylizeRun::withGpu());
      EXPECT_EQ(result.exit_status, 0) << grey << ' ' << format << ": " << result.standard_error;
    }
  }
}

TEST(Stylize, WorksFromAnyFolderWithAnyName) {
  const StylizeRun run;
  const std::filesystem::path folder = run.folder() / u8"Eine Mappe für Bilder 雪";
  std::filesystem::create_directory(folder);
  std::filesystem::rename(run.photo("photo.png", {61, 47}), folder / u8"Möwe 1.png");
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = folder;
  const ChildResult result = StylizeRun::run({"Möwe 1.png", "-o", "Skizze ✏.png", "--style", "pencil"}, setting);
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_THAT(result.standard_error, HasSubstr("Skizze ✏.png: 61x47"));
  std::filesystem::rename(folder / u8"Skizze ✏.png", run.file("out.png"));
  EXPECT_EQ(loadPicture(run.file("out.png")).size(), cv::Size(61, 47));
}

TEST(Stylize, OverwriteMayReplaceThePhotoItself) {
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {61, 47});
  const ChildResult result = StylizeRun::run({photo, "-o", photo, "--style", "pencil", "--overwrite"}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(meanDifference(loadPicture(photo), drawnByLibrary(makePhoto({61, 47}), SttStylePencilSketch, {61, 47})), 0);
}

TEST(Stylize, ListsDevicesAsDataOnly) {
  const ChildResult with_gpu = StylizeRun::run({"devices"}, StylizeRun::withGpu());
  EXPECT_EQ(with_gpu.exit_status, 0);
  EXPECT_THAT(linesOf(with_gpu.standard_output), ElementsAre(StartsWith("integrated\t")));
  EXPECT_EQ(with_gpu.standard_error, "");
  const ChildResult without_gpu = StylizeRun::run({"devices"}, StylizeRun::withoutGpu());
  EXPECT_EQ(without_gpu.exit_status, 0);
  EXPECT_EQ(without_gpu.standard_output, "");
  EXPECT_THAT(linesOf(without_gpu.standard_error), ElementsAre(HasSubstr("software")));
}

TEST(Stylize, HelpAndVersionGoToStandardOutput) {
  const ChildResult version = StylizeRun::run({"--version"}, StylizeRun::withoutGpu());
  EXPECT_EQ(version.exit_status, 0);
  EXPECT_THAT(version.standard_output, HasSubstr("vorin_stt 0.5\n"));
  const ChildResult help = StylizeRun::run({"--help"}, StylizeRun::withoutGpu());
  EXPECT_EQ(help.exit_status, 0);
  for (const std::string told :
       {"--style", "pencil", "stipple", "--size", "--device", "--format", "--overwrite", "Exit status", "Examples", "lightgrey",
        "cartoon", "transfer", "--style-image", "--network", "--models", "--precision", "sheet", "devices", "Transparency"}) {
    EXPECT_THAT(help.standard_output, HasSubstr(told));
  }
  const ChildResult sheet = StylizeRun::run({"sheet", "--help"}, StylizeRun::withoutGpu());
  EXPECT_THAT(sheet.standard_output, HasSubstr("[photo...]"));
  for (const std::string& line : linesOf(help.standard_output + sheet.standard_output)) {
    EXPECT_LE(line.size(), 80U) << line;
  }
  EXPECT_EQ(version.standard_error + help.standard_error, "");
}

} // namespace
} // namespace vorin::tests
