// The neural styles of vorin-stylize when all is well. The networks are small ones whose answers can be computed by hand: what
// comes out shows that the right network got the right picture and that the drawing found its way back to the photo's size.

#include "support/pictures.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

namespace vorin::tests {
namespace {

constexpr int kWidth = 131; // odd, so that nv12 and yuy2 have to pad and crop
constexpr int kHeight = 97;

// Under both names, so that it does not matter which of them the device wants.
template <typename Recipe> std::vector<NamedContent> bothTwins(const std::string& name, const Recipe& recipe) {
  std::vector<NamedContent> files = networkFiles(name, recipe);
  for (NamedContent& file : networkFiles(name + kQuantised, recipe)) {
    files.push_back(std::move(file));
  }
  return files;
}

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
  const TestPackage package({bothTwins(kLightGrey, FixedNetwork{.gain = 0.3F, .bias = 0.1F})});
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

// The whole way of a transfer network's picture, in double precision: normalised (the content's constants in the order red,
// green, blue on blue, green, red; the style's in the order of its colours), mixed, de-normalised, clamped and stretched.
cv::Mat transferred(const cv::Mat& photo, const TransferNetwork& recipe) {
  const cv::Vec3d content_mean(123.675, 116.28, 103.53);
  const cv::Vec3d content_scale(58.395, 57.12, 57.375);
  const cv::Vec3d style_mean(103.53, 116.28, 123.675);
  const cv::Vec3d style_scale(57.375, 57.12, 58.395);
  const cv::Vec3d deviation(0.225, 0.224, 0.229);
  const cv::Vec3d mean(0.406, 0.456, 0.485);
  cv::Mat mixed(photo.size(), CV_64FC3);
  for (int row = 0; row < photo.rows; ++row) {
    for (int column = 0; column < photo.cols; ++column) {
      for (int plane = 0; plane < 3; ++plane) {
        const double content = (photo.at<cv::Vec3b>(row, column)[plane] - content_mean[plane]) / content_scale[plane];
        const double style = (kStyleColour[plane] - style_mean[plane]) / style_scale[plane];
        const double answer = static_cast<double>(recipe.content_gain) * content + static_cast<double>(recipe.style_gain) * style;
        mixed.at<cv::Vec3d>(row, column)[plane] = std::clamp(answer * deviation[plane] + mean[plane], 0.0, 1.0);
      }
    }
  }
  double least = 0;
  double most = 0;
  cv::minMaxLoc(mixed.reshape(1), &least, &most);
  cv::Mat picture;
  mixed.convertTo(picture, CV_8U, 255 / (most - least), -least * 255 / (most - least));
  return picture;
}

class StylizeTransfer : public testing::Test {
protected:
  static TransferNetwork recipe(float content_gain, float style_gain) {
    return {.width = kWidth, .height = kHeight, .content_gain = content_gain, .style_gain = style_gain};
  }

  ChildResult draw(const std::string& photo, const std::string& output, const std::vector<std::string>& more = {}) const {
    savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
    std::vector<std::string> arguments = {photo,           "-o",
                                          output,          "--style",
                                          "transfer",      "--overwrite",
                                          "--style-image", run_.file("style.png"),
                                          "--models",      package_.folder()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return StylizeRun::run(arguments, StylizeRun::withGpu());
  }

  StylizeRun run_;
  TransferNetwork recipe_512_ = recipe(0.9F, 0.8F);
  TransferNetwork recipe_256_ = recipe(-0.7F, 0.5F);
  TransferNetwork recipe_540p_ = recipe(0.4F, -1.0F);
  TestPackage package_{
      {bothTwins(kTransfer512, recipe_512_), bothTwins(kTransfer256, recipe_256_), networkFiles(kTransfer540, recipe_540p_)}};
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
    const ChildResult result = draw(run_.photo("photo.png", {kWidth, kHeight}), run_.file("out.png"), each.arguments);
    ASSERT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_EQ(result.standard_output, "");
    EXPECT_NE(result.standard_error.find(each.told), std::string::npos) << result.standard_error;
    // Half precision on the way in is worth one step after the stretching; both sides round.
    EXPECT_LE(cv::norm(loadPicture(run_.file("out.png")), transferred(makePhoto({kWidth, kHeight}), each.recipe), cv::NORM_INF),
              3)
        << each.told;
  }
}

// Programs that load at the same time would unpack the same files. The test holds the turn; the program's temporary file shows
// that it is under way, and the time given after that is many times what it needs to the end.
TEST_F(StylizeTransfer, WaitsForItsTurn) {
  std::shared_ptr<void> turn = StylizeRun::holdTurn();
  savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
  ChildProcess child({StylizeRun::program(), run_.photo("photo.png", {kWidth, kHeight}), "-o", run_.file("out.png"), "--style",
                      "transfer", "--style-image", run_.file("style.png"), "--models", package_.folder()},
                     StylizeRun::withGpu());
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (run_.names().size() < 3 && std::chrono::steady_clock::now() < give_up) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_FALSE(run_.names().contains("out.png"));
  turn.reset();
  const ChildResult result = child.wait();
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(run_.names(), std::set<std::string>({"out.png", "photo.png", "style.png"}));
}

TEST_F(StylizeTransfer, SoftwareDeviceDrawsWithoutBeingAskedFor) {
  savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
  // A number of bf16 has eight bits, so a few steps may go amiss where the runtime computes such a small network in it.
  for (const auto& [precision, tolerance] : {std::pair("f32", 3), std::pair("bf16", 12)}) {
    const ChildResult result = StylizeRun::run({run_.photo("photo.png", {kWidth, kHeight}), "-o", run_.file("out.png"),
                                                "--overwrite", "--style", "transfer", "--style-image", run_.file("style.png"),
                                                "--models", package_.folder(), "--precision", precision},
                                               StylizeRun::withoutGpu());
    EXPECT_EQ(result.exit_status, 0);
    const auto lines = linesOf(result.standard_error);
    ASSERT_EQ(lines.size(), 2U) << result.standard_error;
    EXPECT_NE(lines[0].find("no GPU found"), std::string::npos) << lines[0];
    const cv::Mat expected = transferred(makePhoto({kWidth, kHeight}), recipe_512_);
    EXPECT_LE(cv::norm(loadPicture(run_.file("out.png")), expected, cv::NORM_INF), tolerance) << precision;
  }
}

// The package lies beside the program, in its folder models, or in a folder models beside that.
TEST_F(StylizeTransfer, PackageIsFoundNearTheProgram) {
  const std::filesystem::path program_folder = run_.folder() / "programs";
  std::filesystem::create_directory(program_folder);
  savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
  ChildSetting setting = StylizeRun::withGpu();
  const std::string program = StylizeRun::copyProgram(program_folder, setting);
  for (const std::filesystem::path& models : {program_folder, program_folder / "models", run_.folder() / "models"}) {
    std::filesystem::create_directories(models);
    std::filesystem::copy_file(package_.folder() + "/model_st.bin", models / "model_st.bin");
    const ChildResult result = ChildProcess({program, run_.photo("photo.png", {kWidth, kHeight}), "-o", run_.file("out.png"),
                                             "--style", "transfer", "--style-image", run_.file("style.png"), "--overwrite"},
                                            setting)
                                   .wait();
    EXPECT_EQ(result.exit_status, 0) << models << result.standard_error;
    std::filesystem::remove(models / "model_st.bin");
  }
}

} // namespace
} // namespace vorin::tests
