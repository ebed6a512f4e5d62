// The contact sheet of vorin-stylize.

#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>
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
    return StylizeRun::run(arguments, StylizeRun::withGpu());
  }

  // The drawing of one photo alone.
  cv::Mat drawing(const std::string& photo, const std::string& style, const std::string& style_image = "") const {
    std::vector<std::string> arguments = {photo, "-o", run_.file("alone.png"), "--style", style, "--overwrite"};
    if (style == "transfer") {
      arguments.insert(arguments.end(), {"--style-image", style_image.empty() ? painting_ : style_image});
    }
    const ChildResult result = run(arguments);
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    return loadPicture(run_.file("alone.png"));
  }

  // Where the picture stands on the sheet, byte for byte; nowhere fails the test.
  static cv::Point placeOf(const cv::Mat& picture, const cv::Mat& sheet) {
    cv::Mat distance;
    cv::matchTemplate(sheet, picture, distance, cv::TM_SQDIFF);
    cv::Point place;
    cv::minMaxLoc(distance, nullptr, nullptr, &place);
    EXPECT_EQ(cv::norm(sheet(cv::Rect(place, picture.size())), picture, cv::NORM_INF), 0);
    return place;
  }

  StylizeRun run_;
  TestPackage package_{{networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kLightGrey, FixedNetwork{.gain = 0.5F}),
                        alikeTwins(kTransfer512, TransferNetwork{.width = kWidth, .height = kHeight})}};
  std::string painting_ = package_.folder() + "/painting.png";
};

TEST_F(StylizeSheet, ShowsTheOriginalAndAllStylesInRowsOfThree) {
  const cv::Size size(kWidth, kHeight);
  const std::string photo = run_.photo("photo.png", size);
  const ChildResult result = run({"sheet", photo, run_.photo("small.jpg", {90, 70}), "-o", run_.file("sheet.png")});
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "");
  EXPECT_EQ(linesOf(result.standard_error).size(), 12U) << result.standard_error; // styles and device, ten drawings, the sheet
  const cv::Mat sheet = loadPicture(run_.file("sheet.png"));
  std::vector<cv::Point> places = {placeOf(makePhoto(size), sheet)};
  for (const std::string style : {"pencil", "stipple", "lightgrey", "cartoon", "transfer"}) {
    places.push_back(placeOf(drawing(photo, style), sheet));
  }
  for (std::size_t index = 1; index < places.size(); ++index) {
    const cv::Point previous = places[index - 1];
    if (index == 3) {
      EXPECT_EQ(places[index].x, places[0].x);
      EXPECT_GE(places[index].y, previous.y + size.height);
    } else {
      EXPECT_GE(places[index].x, previous.x + size.width);
      EXPECT_EQ(places[index].y, previous.y);
    }
  }
}

// Two photos that are nearly the same: the library would take the second one's flat parts for a flickering of the first one's.
TEST_F(StylizeSheet, PhotosDoNotShineThroughEachOther) {
  const cv::Mat first = makePhoto({kWidth, kHeight});
  const cv::Mat second = first + cv::Scalar(7, 3, 5);
  savePicture(run_.file("first.png"), first);
  savePicture(run_.file("second.png"), second);
  const ChildResult result = run({"sheet", run_.file("first.png"), run_.file("second.png"), "-o", run_.file("sheet.png")});
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  placeOf(drawing(run_.file("second.png"), "transfer"), loadPicture(run_.file("sheet.png")));
}

TEST_F(StylizeSheet, GoesOnWithoutAPhotoThatCannotBeRead) {
  const std::string photo = run_.photo("photo.png", {61, 47});
  const ChildResult result = run({"sheet", run_.file("none.png"), photo, "-o", run_.file("sheet.png"), "--json"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_NE(linesOf(result.standard_error).front().find("none.png"), std::string::npos) << result.standard_error;
  EXPECT_FALSE(loadPicture(run_.file("sheet.png")).empty());
  const auto json = nlohmann::json::parse(result.standard_output);
  EXPECT_TRUE(json["style"].is_null() && json["network"].is_null());
  EXPECT_NE(json["package"].get<std::string>().find(package_.folder()), std::string::npos);
  EXPECT_FALSE(json["device"].get<std::string>().empty());
  EXPECT_EQ(json["results"][0]["outcome"], "failed");
  EXPECT_EQ(json["results"][5]["caption"], "transfer");
}

TEST_F(StylizeSheet, SaysWhenItHasNoStyleImage) {
  std::filesystem::remove(painting_);
  expectFailure(run({"sheet", run_.photo("photo.png", {61, 47}), "-o", run_.file("sheet.png")}), 2, "--style-image");
  EXPECT_EQ(run_.names(), std::set<std::string>({"photo.png"}));
}

// One photo with each image of a folder.
TEST_F(StylizeSheet, FolderOfStyleImagesGivesOne) {
  const std::string photo = run_.photo("photo.png", {kWidth, kHeight});
  const std::filesystem::path looks = run_.folder() / "looks";
  std::filesystem::create_directory(looks);
  std::vector<cv::Mat> pictures = {makePhoto({kWidth, kHeight})};
  for (const auto& [name, colour] : {std::pair("a.png", cv::Scalar(90, 140, 60)), std::pair("b.png", cv::Scalar(20, 200, 230))}) {
    savePicture((looks / name).string(), cv::Mat(30, 20, CV_8UC3, colour));
    pictures.push_back(drawing(photo, "transfer", (looks / name).string()));
  }
  const ChildResult result = run({photo, "-o", run_.file("sheet.png"), "--style", "transfer", "--style-image", looks.string()});
  ASSERT_EQ(result.exit_status, 0) << result.standard_error;
  int previous = -1;
  for (const cv::Mat& picture : pictures) {
    const int place = placeOf(picture, loadPicture(run_.file("sheet.png"))).x;
    EXPECT_GT(place, previous);
    previous = place;
  }
}

} // namespace
} // namespace vorin::tests
