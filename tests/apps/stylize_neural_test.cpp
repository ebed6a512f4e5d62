// The neural styles of vorin-stylize without faults. The networks are small ones whose answers can be computed by hand: the
// result shows that the right network got the right picture and that its answer was written at the input's size.
#include "support/neural_reference.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

namespace vorin::tests {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr int kWidth = 131;
constexpr int kHeight = 97;

// Networks work at 1920x1080 at most, in the input's ratio of sides, and at 32 pixels a side at least. This one turns the picture
// into its negative, the library blackens its last column before, and half precision costs one step.
TEST(StylizeCartoon, IsTheNetworksAnswerAtTheInputsSize) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  for (const auto& [size, network_size] : {std::pair(cv::Size(kWidth, kHeight), "131x97"),
                                           std::pair(cv::Size(1600, 2000), "864x1080"), std::pair(cv::Size(3, 2), "32x32")}) {
    const StylizeRun run;
    const ChildResult result = StylizeRun::run(
        {run.image("photo.png", size), "-o", run.file("out.png"), "--style", "cartoon", "--models", package.folder()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(linesOf(result.standard_error),
                testing::ElementsAre(HasSubstr("style cartoon, network cartoon_model_slim5 of '" +
                                               (fs::path(package.folder()) / "model_st.bin").string() + "', software device"),
                                     AllOf(HasSubstr(std::string("cartoon, network ") + network_size + ", "),
                                           HasSubstr(" ms per frame, loaded in "))));
    EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", "out.png"}));
    const cv::Mat picture = loadPicture(run.file("out.png"));
    ASSERT_EQ(picture.size(), size);
    if (size.width == kWidth) {
      cv::Mat expected = cv::Scalar::all(255) - makePicture(size);
      expected.col(kWidth - 1).setTo(cv::Scalar::all(255));
      EXPECT_TRUE(areEqual(picture, expected, 1));
    }
  }
}

const cv::Scalar kStyleColour(200, 60, 120);

// All steps of a transfer network's picture: normalised (the content's constants in the order red, green, blue on blue,
// green, red; the style's in the order of its colours), mixed, de-normalised, clamped and stretched.
cv::Mat transferred(const cv::Mat& content, const TransferNetwork& recipe) {
  Planes planes = planesOf({content.datastart, content.dataend}, contentValue);
  for (std::size_t index = 0; index < planes.size(); ++index) {
    const int plane = static_cast<int>(index / content.total());
    const double style = styleValue(plane, static_cast<std::uint8_t>(kStyleColour[plane]));
    planes[index] = recipe.content_gain * planes[index] + recipe.style_gain * static_cast<float>(style);
  }
  Picture picture = transferPicture(planes, content.cols, content.rows);
  return cv::Mat(content.size(), CV_8UC3, picture.data()).clone();
}

class StylizeTransfer : public testing::Test {
protected:
  static TransferNetwork recipe(float content_gain, float style_gain) {
    return {.width = kWidth, .height = kHeight, .content_gain = content_gain, .style_gain = style_gain};
  }

  // The arguments that restyle photo.png into out.png with the style image.
  std::vector<std::string> arguments(const std::vector<std::string>& more = {}) const {
    savePicture(run_.file("style.png"), cv::Mat(30, 20, CV_8UC3, kStyleColour));
    std::vector<std::string> all = {run_.image("photo.png", {kWidth, kHeight}), "-o", run_.file("out.png"), "--overwrite"};
    all.insert(all.end(), {"--style", "transfer", "--style-image", run_.file("style.png")});
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  // Whether out.png is the result of a network for photo.png. Half precision at the input costs one step after the stretching;
  // both sides round.
  testing::AssertionResult isBy(const TransferNetwork& recipe) const {
    return areEqual(loadPicture(run_.file("out.png")), transferred(makePicture({kWidth, kHeight}), recipe), 3);
  }

  StylizeRun run_;
  TransferNetwork recipe_512_ = recipe(0.9F, 0.8F);
  TransferNetwork recipe_256_ = recipe(-0.7F, 0.5F);
  TransferNetwork recipe_540p_ = recipe(0.4F, -1.0F);
  TestPackage package_{
      {alikeTwins(kTransfer512, recipe_512_), alikeTwins(kTransfer256, recipe_256_), networkFiles(kTransfer540, recipe_540p_)}};
};

TEST_F(StylizeTransfer, EachNetworkIsReachedByItsName) {
  for (const auto& [name, recipe] : {std::pair("512", recipe_512_), {"256", recipe_256_}, {"540p", recipe_540p_}}) {
    const ChildResult result = StylizeRun::run(arguments({"--models", package_.folder(), "--network", name}));
    EXPECT_THAT(result.standard_error, HasSubstr("network " + std::string(name) + ","));
    EXPECT_TRUE(isBy(recipe)) << name;
  }
}

// The package lies beside the program, in its folder models, or in a folder models beside that.
TEST_F(StylizeTransfer, PackageIsFoundNearTheProgram) {
  const fs::path program_folder = run_.folder() / "programs";
  fs::create_directory(program_folder);
  const ChildSetting setting = StylizeRun::withGpu();
  std::vector<std::string> line = arguments();
  line.insert(line.begin(), StylizeRun::copyProgram(program_folder));
  expectFailure(ChildProcess(line, setting).wait(), 3, "--models");
  for (const fs::path& models : {program_folder, program_folder / "models", run_.folder() / "models"}) {
    fs::create_directories(models);
    fs::copy_file(package_.folder() + "/model_st.bin", models / "model_st.bin");
    EXPECT_EQ(ChildProcess(line, setting).wait().exit_status, 0) << models;
    fs::remove(models / "model_st.bin");
  }
}

} // namespace
} // namespace vorin::tests
