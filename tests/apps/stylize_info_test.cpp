// What vorin-stylize tells about itself: info, selftest, and a drawing that is none.

#include "selftest_expectations.h"
#include "sha256.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <functional>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vorin::tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// The examples of FIPS 180-2.
TEST(Sha256, GivesTheStandardsSums) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "file";
  std::ofstream(file) << "xabcx" << std::string(1000000, 'a');
  EXPECT_EQ(stylize::sha256OfFile(file, 1, 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(stylize::sha256OfFile(file, 5, 1000000), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_EQ(stylize::sha256OfFile(file, 0, 0), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

class StylizeInfo : public testing::Test {
protected:
  static json run(const std::vector<std::string>& arguments, int exit_status) {
    const ChildResult result = StylizeRun::run(arguments, StylizeRun::withGpu());
    EXPECT_EQ(result.exit_status, exit_status) << result.standard_error;
    return json::parse(result.standard_output);
  }

  std::vector<NamedContent> cartoon_ = networkFiles(kCartoon, FixedNetwork{.gain = -1});
  TestPackage package_{
      {cartoon_, alikeTwins(kLightGrey, FixedNetwork{.gain = 0.5F}), alikeTwins(kTransfer512, TransferNetwork{})}};
};

TEST_F(StylizeInfo, ListsWhatThereIs) {
  const json info = run({"info", "--json", "--models", package_.folder()}, 0);
  EXPECT_EQ(info["library"], "0.5");
  ASSERT_EQ(info["devices"].size(), 1U);
  EXPECT_EQ(info["devices"][0]["kind"], "integrated");
  EXPECT_EQ(info["software_device"]["active"], true);
  const std::string file = package_.folder() + "/model_st.bin";
  EXPECT_EQ(info["package"]["size_bytes"], std::filesystem::file_size(file));
  ASSERT_EQ(info["package"]["entries"].size(), 10U);
  const json& entry = info["package"]["entries"][0];
  EXPECT_EQ(entry["name"], cartoon_[0].name);
  EXPECT_EQ(entry["size_bytes"], cartoon_[0].content.size());
  EXPECT_EQ(entry["style"], "cartoon");
  const TemporaryFolder folder;
  writeFile(folder.path() / "entry", cartoon_[0].content);
  EXPECT_EQ(entry["sha256"], stylize::sha256OfFile(folder.path() / "entry", 0, cartoon_[0].content.size()));
  const ChildResult text = StylizeRun::run({"info", "--models", package_.folder()}, StylizeRun::withGpu());
  EXPECT_THAT(text.standard_output, HasSubstr(entry["sha256"].get<std::string>() + "\t"));
  EXPECT_EQ(text.standard_error, "");
}

TEST_F(StylizeInfo, WithoutAPackageItIsAnErrorOnlyWhereOneWasNamed) {
  const TemporaryFolder empty;
  EXPECT_TRUE(run({"info", "--json", "--models", empty.path().string()}, 3)["package"].is_null());
}

TEST_F(StylizeInfo, SelftestFindsTheFiltersAsTheyAreKnown) {
  const json result = run({"selftest", "--json", "--models", package_.folder()}, 0);
  ASSERT_EQ(result["styles"].size(), 5U);
  for (const json& style : result["styles"]) {
    EXPECT_EQ(style["outcome"], "ok") << style;
    const bool is_filter = style["style"] == "pencil" || style["style"] == "stipple";
    EXPECT_EQ(style["largest_difference"].is_null(), !is_filter) << style;
  }
}

// The block sums of a picture, computed plainly.
std::string sumsText(const cv::Mat& picture) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  const cv::Size block(picture.cols / 4, picture.rows / 4);
  for (int top = 0; top < 4 * block.height; top += block.height) {
    for (int left = 0; left < 4 * block.width; left += block.width) {
      std::array<double, 4> sums{}; // blue, green, red, square of green
      for (int pixel = 0; pixel < block.area(); ++pixel) {
        const auto& colour = picture.at<cv::Vec3b>(top + pixel / block.width, left + pixel % block.width);
        const std::array<int, 4> values = {colour[0], colour[1], colour[2], colour[1] * colour[1]};
        std::transform(sums.begin(), sums.end(), values.begin(), sums.begin(), std::plus<>());
      }
      const int count = block.area();
      for (const double value : {sums[0], sums[1], sums[2], std::sqrt(sums[3] * count - sums[1] * sums[1])}) {
        text << std::setw(2) << std::lround(value / count);
      }
    }
  }
  return text.str();
}

class StylizeSelftest : public StylizeInfo {
protected:
  void packWith(const std::string& entry) {
    package_.write({cartoon_,
                    alikeTwins(kLightGrey, FixedNetwork{.gain = 0.5F}),
                    alikeTwins(kTransfer512, TransferNetwork{}),
                    {{"selftest.json", entry}}});
  }

  // Without styles.
  static json entry() {
    return {{"version", 1},
            {"inputs", {{"photo", sumsText(stylize::selftestPhoto())}, {"style_image", sumsText(stylize::selftestStyleImage())}}},
            {"styles", json::object()}};
  }
};

TEST_F(StylizeSelftest, ComparesWithWhatThePackageSays) {
  cv::Mat inverted = cv::Scalar::all(255) - stylize::selftestPhoto(); // what the cartoon's network makes of it
  inverted.col(inverted.cols - 1) = cv::Scalar::all(255);             // the library leaves a network's last column black
  json expectations = entry();
  expectations["styles"]["cartoon"] = {{"block_sums", sumsText(inverted)}, {"tolerance", 1}}; // roundings
  expectations["styles"]["lightgrey"] = {{"block_sums", sumsText(inverted)}, {"tolerance", 16}};
  packWith(expectations.dump());
  const json result = run({"selftest", "--json", "--models", package_.folder()}, 4);
  EXPECT_TRUE(result["package_problem"].is_null()) << result;
  EXPECT_EQ(result["inputs"], expectations["inputs"]);
  for (const json& style : result["styles"]) {
    if (style["style"] == "lightgrey") {
      EXPECT_EQ(style["error"], "the drawing is another one than it should be");
      EXPECT_GT(style["largest_difference"], 16);
    } else {
      EXPECT_EQ(style["outcome"], "ok") << style;
    }
    if (style["style"] == "cartoon") {
      EXPECT_LE(style["largest_difference"], 1);
      EXPECT_EQ(style["allowed"], 1);
    }
    EXPECT_EQ(style["largest_difference"].is_null(), style["style"] == "transfer") << style;
  }
}

TEST_F(StylizeSelftest, LeavesOutWhatWasMadeForOtherPictures) {
  json other = entry();
  other["inputs"]["style_image"] = other["inputs"]["photo"];
  other["styles"]["cartoon"] = {{"block_sums", std::string(128, '0')}, {"tolerance", 0}};
  packWith(other.dump());
  const ChildResult result = StylizeRun::run({"selftest", "--models", package_.folder()}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.standard_output, HasSubstr("cartoon: ok, a drawing; how it should look is not known for this package\n"));
  EXPECT_THAT(result.standard_error, HasSubstr("'selftest.json' was made for other pictures than those of this program: "));
}

TEST_F(StylizeSelftest, SaysWhatIsWrongWithAnEntry) {
  json sound = entry();
  sound["styles"]["cartoon"] = {{"block_sums", std::string(128, '0')}, {"tolerance", 255}};
  const auto with = [&](const char* pointer, const json& value) {
    json changed = sound;
    changed[json::json_pointer(pointer)] = value;
    return changed.dump();
  };
  std::string photo = sound["inputs"]["photo"]; // begins with cf
  const std::pair<std::string, std::string> cases[] = {
      {sound.dump() + std::string(200000, ' '), ""},
      {sound.dump() + std::string(300000, ' '), "is damaged"},
      {"", "is damaged"},
      {std::string(200000, '['), "is damaged"},
      {"[1]", "is damaged"},
      {sound.dump().substr(0, 300), "is damaged"},
      {"{}", "is damaged"},
      {with("/version", 2), "is of a version that this program does not know"},
      {with("/inputs", json::array()), "is damaged"},
      {with("/inputs/photo", 5), "is damaged"},
      {with("/inputs/photo", photo.replace(0, 2, "d0")), ""},
      {with("/inputs/photo", photo.replace(0, 2, "d1")), "was made for other pictures than those of this program"},
      {with("/styles", json::array()), "is damaged"},
      {with("/styles/cartoon/block_sums", std::string(126, '0')), "is damaged"},
      {with("/styles/cartoon/block_sums", std::string(127, '0') + 'g'), "is damaged"},
      {with("/styles/cartoon/tolerance", 256), "is damaged"},
      {with("/styles/cartoon/tolerance", -1), "is damaged"},
      {with("/styles/cartoon/tolerance", "16"), "is damaged"},
  };
  for (const auto& [text, problem] : cases) {
    SCOPED_TRACE(text.substr(0, 400));
    packWith(text);
    const auto expectations = stylize::expectationsOfNetworks(stylize::ModelPackage(package_.folder()));
    EXPECT_EQ(expectations.problem, problem);
    EXPECT_EQ(expectations.drawings.size(), problem.empty() ? 1U : 0U);
  }
}

// A network that leaves the picture as it is, in bgr as in rgb.
TEST_F(StylizeInfo, SelftestFindsANetworkThatDrawsNothing) {
  const TestPackage idle({networkFiles(kCartoon, FixedNetwork{.gain = 1})});
  const json result = run({"selftest", "--json", "--models", idle.folder()}, 3); // that of the first, which is not there
  EXPECT_THAT(result["styles"][2]["error"].get<std::string>(), HasSubstr("lacks"));
  EXPECT_THAT(result["styles"][3]["error"].get<std::string>(), HasSubstr("the photo itself"));
}

} // namespace
} // namespace vorin::tests
