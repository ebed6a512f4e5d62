// The neural styles of vorin-stylize when all is well. The networks are small ones whose answers can be computed by hand: what
// comes out shows that the right network got the right picture and that the drawing found its way back to the photo's size.

#include "support/neural_reference.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <thread>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

constexpr int kWidth = 131; // odd, so that nv12 and yuy2 have to pad and crop
constexpr int kHeight = 97;

double meanDifference(const cv::Mat& a, const cv::Mat& b) {
  return cv::norm(a, b, cv::NORM_L1) / static_cast<double>(a.total() * 3);
}

cv::Mat negative(const cv::Mat& photo) {
  return cv::Scalar::all(255) - photo;
}

struct FormatCase {
  std::string format;
  double tolerance; // mean difference from the picture computed here
};

class StylizeCartoon : public testing::TestWithParam<FormatCase> {
protected:
  StylizeRun run_;
  TestPackage package_{{networkFiles(kCartoon, FixedNetwork{.gain = -1})}};

  // Two lines, the file, and nothing else.
  cv::Mat draw(cv::Size photo, const std::string& format, const std::string& told) {
    const ChildResult result = StylizeRun::run({run_.photo("photo.png", photo), "-o", run_.file("out.png"), "--style", "cartoon",
                                                "--format", format, "--models", package_.folder()},
                                               StylizeRun::withGpu());
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_EQ(result.standard_output, "");
    EXPECT_EQ(linesOf(result.standard_error).size(), 2U) << result.standard_error;
    for (const std::string& part :
         {"style cartoon, network cartoon_model_slim5 of '" +
              (std::filesystem::path(package_.folder()) / "model_st.bin").string() + "', software device",
          "cartoon, network " + told + ", ", std::string(" ms per frame"), std::string(", loaded in ")}) {
      EXPECT_NE(result.standard_error.find(part), std::string::npos) << result.standard_error;
    }
    EXPECT_EQ(run_.names(), std::set<std::string>({"photo.png", "out.png"}));
    return loadPicture(run_.file("out.png"));
  }
};

// The network turns the picture into its negative, and the library blackens its last column before. One step for a frame in half
// precision; nv12 and yuy2 lose chroma and luma steps twice, by 3 on average, where red and blue exchanged would be 60 away.
TEST_P(StylizeCartoon, IsTheNetworksAnswer) {
  const FormatCase& each = GetParam();
  const bool is_padded = each.format == "nv12" || each.format == "yuy2";
  const cv::Mat drawing = draw({kWidth, kHeight}, each.format, is_padded ? "132x98" : "131x97");
  ASSERT_EQ(drawing.size(), cv::Size(kWidth, kHeight));
  cv::Mat expected = negative(makePhoto({kWidth, kHeight}));
  if (!is_padded) {
    expected.col(kWidth - 1).setTo(cv::Scalar::all(255));
    EXPECT_LE(cv::norm(drawing, expected, cv::NORM_INF), 1);
  }
  EXPECT_LE(meanDifference(drawing, expected), each.tolerance);
}

INSTANTIATE_TEST_SUITE_P(Formats, StylizeCartoon,
                         testing::Values(FormatCase{"bgra", 1}, FormatCase{"rgba", 1}, FormatCase{"bgr24", 1},
                                         FormatCase{"nv12", 6}, FormatCase{"yuy2", 6}),
                         [](const auto& each) { return each.param.format; });

// Networks work at 1920x1080 at most; the photo's ratio of sides stays. Seen from afar (each pixel the mean of 40 x 40) the
// drawing is the negative, however much of the grain is lost on the way; turned or shifted parts would be 100 away.
TEST_F(StylizeCartoon, LargePhotosKeepTheirProportions) {
  const cv::Size size(1600, 2000);
  const cv::Mat drawing = draw(size, "bgra", "864x1080");
  ASSERT_EQ(drawing.size(), size);
  cv::Mat expected;
  cv::Mat actual;
  cv::resize(negative(makePhoto(size)), expected, size / 40, 0, 0, cv::INTER_AREA);
  cv::resize(drawing, actual, size / 40, 0, 0, cv::INTER_AREA);
  const cv::Rect all_but_last_column(0, 0, size.width / 40 - 1, size.height / 40);
  EXPECT_LE(cv::norm(actual(all_but_last_column), expected(all_but_last_column), cv::NORM_INF), 5);
}

TEST_F(StylizeCartoon, TinyPhotosAreDrawnAtTheLeastSizeOfANetwork) {
  const cv::Mat drawing = draw({3, 2}, "bgra", "32x32");
  ASSERT_EQ(drawing.size(), cv::Size(3, 2));
  // All but the last column, into which the network's black column flows.
  EXPECT_LE(meanDifference(drawing(cv::Rect(0, 0, 2, 2)), negative(makePhoto({3, 2}))(cv::Rect(0, 0, 2, 2))), 12);
}

// The library stretches the answer from 0 to 255.
TEST(StylizeLightGrey, IsTheNetworksStretchedAnswer) {
  const StylizeRun run;
  const TestPackage package({alikeTwins(kLightGrey, FixedNetwork{.gain = 0.3F, .bias = 0.1F})});
  const ChildResult result = StylizeRun::run({run.photo("photo.png", {kWidth, kHeight}), "-o", run.file("out.png"), "--style",
                                              "lightgrey", "--size", "131x97", "--models", package.folder()},
                                             StylizeRun::withGpu());
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  const cv::Mat photo = makePhoto({kWidth, kHeight});
  const auto [least, most] = std::minmax_element(photo.datastart, photo.dataend);
  const double scale = 255.0 / (*most - *least);
  cv::Mat expected;
  photo.convertTo(expected, CV_8U, scale, -*least * scale);
  // One step for half precision, one for the rounding of both sides.
  EXPECT_LE(cv::norm(loadPicture(run.file("out.png")), expected, cv::NORM_INF), 2);
}

const cv::Scalar kStyleColour(200, 60, 120);

// The whole way of a transfer network's picture: normalised (the content's constants in the order red, green, blue on blue,
// green, red; the style's in the order of its colours), mixed, de-normalised, clamped and stretched.
cv::Mat transferred(const cv::Mat& photo, const TransferNetwork& recipe) {
  Planes planes = planesOf({photo.datastart, photo.dataend}, contentValue);
  for (std::size_t index = 0; index < planes.size(); ++index) {
    const int plane = static_cast<int>(index / photo.total());
    const double style = styleValue(plane, static_cast<std::uint8_t>(kStyleColour[plane]));
    planes[index] = recipe.content_gain * planes[index] + recipe.style_gain * static_cast<float>(style);
  }
  Picture picture = transferPicture(planes, photo.cols, photo.rows);
  return cv::Mat(photo.size(), CV_8UC3, picture.data()).clone();
}

class StylizeTransfer : public testing::Test {
protected:
  static TransferNetwork recipe(float content_gain, float style_gain) {
    return {.width = kWidth, .height = kHeight, .content_gain = content_gain, .style_gain = style_gain};
  }

  // What draws photo.png into out.png with the style image.
  std::vector<std::string> arguments(const std::vector<std::string>& more = {}) const {
    savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
    std::vector<std::string> all = {run_.photo("photo.png", {kWidth, kHeight}), "-o", run_.file("out.png"), "--overwrite"};
    all.insert(all.end(), {"--style", "transfer", "--style-image", run_.file("style.png")});
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  // The largest difference of out.png from what a network makes of the photo.
  double differenceFrom(const TransferNetwork& recipe) const {
    const cv::Mat expected = transferred(makePhoto({kWidth, kHeight}), recipe);
    return cv::norm(loadPicture(run_.file("out.png")), expected, cv::NORM_INF);
  }

  StylizeRun run_;
  TransferNetwork recipe_512_ = recipe(0.9F, 0.8F);
  TransferNetwork recipe_256_ = recipe(-0.7F, 0.5F);
  TransferNetwork recipe_540p_ = recipe(0.4F, -1.0F);
  TestPackage package_{
      {alikeTwins(kTransfer512, recipe_512_), alikeTwins(kTransfer256, recipe_256_), networkFiles(kTransfer540, recipe_540p_)}};
};

TEST_F(StylizeTransfer, EachNetworkIsReachedByItsName) {
  struct Case {
    std::vector<std::string> arguments;
    std::string told;
    TransferNetwork recipe;
  };
  for (const Case& each :
       {Case{{}, "network 512,", recipe_512_}, Case{{"--network", "512"}, "network 512,", recipe_512_},
        Case{{"--network", "256"}, "network 256,", recipe_256_}, Case{{"--network", "540p"}, "network 540p,", recipe_540p_}}) {
    std::vector<std::string> more = each.arguments;
    more.insert(more.end(), {"--models", package_.folder()});
    const ChildResult result = StylizeRun::run(arguments(more), StylizeRun::withGpu());
    ASSERT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(result.standard_error, HasSubstr(each.told));
    // Half precision on the way in is worth one step after the stretching; both sides round.
    EXPECT_LE(differenceFrom(each.recipe), 3) << each.told;
  }
}

// Programs that load at the same time would unpack the same files. The test holds the turn; the program's temporary file shows
// that it is under way, and the time given after that is many times what it needs to the end.
TEST_F(StylizeTransfer, WaitsForItsTurn) {
  std::shared_ptr<void> turn = StylizeRun::holdTurn();
  std::vector<std::string> line = arguments({"--models", package_.folder()});
  line.insert(line.begin(), StylizeRun::program());
  ChildProcess child(line, StylizeRun::withGpu());
  waitUntil([&] { return run_.names().size() == 3; });
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_FALSE(run_.names().contains("out.png"));
  turn.reset();
  const ChildResult result = child.wait();
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(run_.names(), std::set<std::string>({"out.png", "photo.png", "style.png"}));
}

TEST_F(StylizeTransfer, SoftwareDeviceDrawsWithoutBeingAskedFor) {
  // A number of bf16 has eight bits, so a few steps may go amiss where the runtime computes such a small network in it.
  for (const auto& [precision, tolerance] : {std::pair("f32", 3), std::pair("bf16", 12)}) {
    const ChildResult result =
        StylizeRun::run(arguments({"--models", package_.folder(), "--precision", precision}), StylizeRun::withoutGpu());
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(linesOf(result.standard_error), testing::ElementsAre(HasSubstr("no GPU found"), testing::_));
    EXPECT_LE(differenceFrom(recipe_512_), tolerance) << precision;
  }
}

// The package lies beside the program, in its folder models, or in a folder models beside that.
TEST_F(StylizeTransfer, PackageIsFoundNearTheProgram) {
  const std::filesystem::path program_folder = run_.folder() / "programs";
  std::filesystem::create_directory(program_folder);
  ChildSetting setting = StylizeRun::withGpu();
  std::vector<std::string> line = arguments();
  line.insert(line.begin(), StylizeRun::copyProgram(program_folder, setting));
  for (const std::filesystem::path& models : {program_folder, program_folder / "models", run_.folder() / "models"}) {
    std::filesystem::create_directories(models);
    std::filesystem::copy_file(package_.folder() + "/model_st.bin", models / "model_st.bin");
    const ChildResult result = ChildProcess(line, setting).wait();
    EXPECT_EQ(result.exit_status, 0) << models << result.standard_error;
    std::filesystem::remove(models / "model_st.bin");
  }
}

} // namespace
} // namespace vorin::tests
