// The contact sheet of vorin-stylize.
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

#include <nlohmann/json.hpp>

namespace vorin::tests {
namespace {

constexpr int kWidth = 211;
constexpr int kHeight = 120;

class StylizeSheet : public testing::Test {
protected:
  void SetUp() override { savePicture(painting_, cv::Mat(30, 20, CV_8UC3, cv::Scalar(90, 140, 60))); }

  ChildResult run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--models", package_.folder()});
    return StylizeRun::run(arguments);
  }

  // The result of one image alone.
  cv::Mat alone(const std::string& image, const std::string& style, const std::string& style_image) const {
    std::vector<std::string> arguments = {image, "-o", run_.file("alone.png"), "--style", style, "--overwrite"};
    if (style == "transfer") {
      arguments.insert(arguments.end(), {"--style-image", style_image});
    }
    EXPECT_EQ(run(arguments).exit_status, 0);
    return loadPicture(run_.file("alone.png"));
  }

  // Finds the picture on the sheet, byte for byte; fails the test if it is not there.
  cv::Point placeOf(const cv::Mat& picture) const {
    const cv::Mat sheet = loadPicture(run_.file("sheet.png"));
    cv::Mat distance;
    cv::matchTemplate(sheet, picture, distance, cv::TM_SQDIFF);
    cv::Point place;
    cv::minMaxLoc(distance, nullptr, nullptr, &place);
    EXPECT_TRUE(areEqual(sheet(cv::Rect(place, picture.size())), picture));
    return place;
  }

  StylizeRun run_;
  TestPackage package_{{networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kLightGrey, FixedNetwork{.gain = 0.5F}),
                        alikeTwins(kTransfer512, TransferNetwork{.width = kWidth, .height = kHeight})}};
  std::string painting_ = package_.folder() + "/painting.png";
};

// Checks the pictures of the second of two images.
TEST_F(StylizeSheet, ShowsTheOriginalAndAllStylesInRowsOfThree) {
  const cv::Mat picture = makePicture({kWidth, kHeight});
  savePicture(run_.file("first.png"), picture + cv::Scalar(7, 3, 5));
  savePicture(run_.file("second.png"), picture);
  const ChildResult result = run({"sheet", run_.file("first.png"), run_.file("second.png"), "-o", run_.file("sheet.png")});
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "");
  EXPECT_EQ(linesOf(result.standard_error).size(), 12U) << result.standard_error; // styles and device, ten results, the sheet
  std::vector<cv::Point> places = {placeOf(picture)};
  for (const std::string style : {"pencil", "stipple", "lightgrey", "cartoon", "transfer"}) {
    places.push_back(placeOf(alone(run_.file("second.png"), style, painting_)));
  }
  for (std::size_t index = 1; index < places.size(); ++index) {
    const cv::Point previous = places[index - 1];
    if (index == 3) {
      EXPECT_EQ(places[index].x, places[0].x);
      EXPECT_GE(places[index].y, previous.y + kHeight);
    } else {
      EXPECT_GE(places[index].x, previous.x + kWidth);
      EXPECT_EQ(places[index].y, previous.y);
    }
  }
}

TEST_F(StylizeSheet, GoesOnWithoutAnImageThatCannotBeRead) {
  const ChildResult result =
      run({"sheet", run_.file("none.png"), run_.image("photo.png"), "-o", run_.file("sheet.png"), "--json"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(linesOf(result.standard_error).front(), testing::HasSubstr("none.png"));
  EXPECT_FALSE(loadPicture(run_.file("sheet.png")).empty());
  const auto json = nlohmann::json::parse(result.standard_output);
  EXPECT_TRUE(json["style"].is_null() && json["network"].is_null());
  EXPECT_EQ(json["package"], (fs::path(package_.folder()) / "model_st.bin").string());
  EXPECT_FALSE(json["device"].get<std::string>().empty());
  EXPECT_EQ(json["results"][0]["outcome"], "failed");
  EXPECT_EQ(json["results"][5]["caption"], "transfer");
}

TEST_F(StylizeSheet, SaysWhenItHasNoStyleImage) {
  fs::remove(painting_);
  expectFailure(run({"sheet", run_.image("photo.png"), "-o", run_.file("sheet.png")}), 2, "--style-image");
  EXPECT_EQ(run_.names(), std::set<std::string>({"photo.png"}));
}

// One image with each style image of a folder.
TEST_F(StylizeSheet, FolderOfStyleImagesGivesOne) {
  const std::string image = run_.image("photo.png", {kWidth, kHeight});
  const std::string looks = run_.file("looks");
  fs::create_directory(looks);
  std::vector<cv::Mat> pictures = {makePicture({kWidth, kHeight})};
  for (const auto& [name, colour] :
       {std::pair("/a.png", cv::Scalar(90, 140, 60)), std::pair("/b.png", cv::Scalar(20, 200, 230))}) {
    savePicture(looks + name, cv::Mat(30, 20, CV_8UC3, colour));
    pictures.push_back(alone(image, "transfer", looks + name));
  }
  const ChildResult result = run({image, "-o", run_.file("sheet.png"), "--style", "transfer", "--style-image", looks});
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  int previous = -1;
  for (const cv::Mat& picture : pictures) {
    const int place = placeOf(picture).x;
    EXPECT_GT(place, previous);
    previous = place;
  }
}

} // namespace
} // namespace vorin::tests
