// The commands info and selftest of vorin-stylize.
#include "files.h"
#include "selftest_expectations.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vorin::tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// The block sums of a picture, computed plainly: means of blue, green and red and the standard deviation of green.
std::string plainBlockSums(const cv::Mat& bgr) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  const cv::Size block(bgr.cols / 4, bgr.rows / 4);
  const double count = block.area();
  for (int index = 0; index < 16; ++index) {
    cv::Vec3d sums;
    double green_squares = 0;
    for (int pixel = 0; pixel < block.area(); ++pixel) {
      const auto& colour =
          bgr.at<cv::Vec3b>(index / 4 * block.height + pixel / block.width, index % 4 * block.width + pixel % block.width);
      sums += colour;
      green_squares += colour[1] * colour[1];
    }
    for (const double value : {sums[0], sums[1], sums[2], std::sqrt(green_squares * count - sums[1] * sums[1])}) {
      text << std::setw(2) << std::lround(value / count);
    }
  }
  return text.str();
}

// An entry selftest.json without styles.
json noExpectations() {
  return {{"version", 1},
          {"inputs",
           {{"photo", plainBlockSums(media::selftestPhoto())}, {"style_image", plainBlockSums(media::selftestStyleImage())}}},
          {"styles", json::object()}};
}

TEST(Expectations, FaultsAreNamed) {
  json sound = noExpectations();
  sound["styles"]["cartoon"] = {{"block_sums", std::string(128, '0')}, {"tolerance", 255}};
  const std::string picture = sound["inputs"]["photo"]; // begins with cf
  const auto with = [&](const char* pointer, const json& value) {
    json changed = sound;
    changed[json::json_pointer(pointer)] = value;
    return changed.dump();
  };
  constexpr const char* kDamaged = "is damaged";
  for (const auto& [text, problem] : std::vector<std::pair<std::string, std::string>>{
           {sound.dump(), ""},
           {"", kDamaged},
           {std::string(200000, '['), kDamaged},
           {"[1]", kDamaged},
           {sound.dump().substr(0, 300), kDamaged},
           {with("/version", 2), "has a version that this program does not know"},
           {with("/inputs/photo", 5), kDamaged},
           {with("/inputs/photo", "d0" + picture.substr(2)), ""},
           {with("/inputs/photo", "d1" + picture.substr(2)), "was made for other built-in pictures"},
           {with("/styles", json::array()), kDamaged},
           {with("/styles/cartoon/block_sums", std::string(126, '0')), kDamaged},
           {with("/styles/cartoon/block_sums", std::string(127, '0') + 'g'), kDamaged},
           {with("/styles/cartoon/tolerance", 256), kDamaged},
           {with("/styles/cartoon/tolerance", -1), kDamaged},
           {with("/styles/cartoon/tolerance", "16"), kDamaged},
       }) {
    const media::Expectations expectations = media::parseExpectations(text);
    EXPECT_EQ(expectations.problem, problem) << text.substr(0, 400);
    EXPECT_EQ(expectations.results.size(), problem.empty() ? 1U : 0U) << text.substr(0, 400);
  }
}

class StylizeInfo : public testing::Test {
protected:
  static json run(const std::vector<std::string>& arguments, int exit_status) {
    const ChildResult result = StylizeRun::run(arguments);
    EXPECT_EQ(result.exit_status, exit_status) << result.standard_error;
    return json::parse(result.standard_output);
  }

  void pack(const std::vector<NamedContent>& more) {
    package_.write(
        {cartoon_, alikeTwins(kLightGrey, FixedNetwork{.gain = 0.5F}), alikeTwins(kTransfer512, TransferNetwork{}), more});
  }

  std::vector<NamedContent> cartoon_ = networkFiles(kCartoon, FixedNetwork{.gain = -1});
  TestPackage package_;
};

TEST_F(StylizeInfo, ListsWhatThereIs) {
  pack({});
  const json info = run({"info", "--json", "--models", package_.folder()}, 0);
  EXPECT_EQ(info["library"], "0.5");
  ASSERT_EQ(info["devices"].size(), 1U);
  EXPECT_EQ(info["devices"][0]["kind"], "integrated");
  EXPECT_EQ(info["software_device"], (json{{"precisions", {"f32", "bf16"}}, {"active", true}}));
  EXPECT_EQ(info["package"]["size_bytes"], std::filesystem::file_size(package_.folder() + "/model_st.bin"));
  ASSERT_EQ(info["package"]["entries"].size(), 10U);
  const json& entry = info["package"]["entries"][0];
  const TemporaryFolder folder;
  writeFile(folder.path() / "entry", cartoon_[0].content);
  const std::string sum = base::sha256OfFile(folder.path() / "entry", 0, cartoon_[0].content.size());
  EXPECT_EQ(
      entry,
      (json{{"name", cartoon_[0].name}, {"size_bytes", cartoon_[0].content.size()}, {"sha256", sum}, {"style", "cartoon"}}));
  const ChildResult text = StylizeRun::run({"info", "--models", package_.folder()});
  EXPECT_THAT(text.standard_output, HasSubstr(sum + "\t"));
  EXPECT_EQ(text.standard_error, "");
}

TEST_F(StylizeInfo, CountsTheCompiledNetworksThatAreKept) {
  pack({});
  const StylizeRun folder;
  ChildSetting setting = StylizeRun::withGpu();
  const TemporaryFolder cache_folder;
  StylizeRun::setCacheFolder(setting, cache_folder.path());
  for (const auto& [option, networks] : {std::pair("--no-cache", 0), {"--quiet", 1}, {"--no-cache", 1}, {"--quiet", 1}}) {
    EXPECT_EQ(folder.restyle({"--style", "cartoon", "--models", package_.folder(), "--overwrite", option}, setting).exit_status,
              0);
    const json cache = json::parse(StylizeRun::run({"info", "--json"}, setting).standard_output)["cache"];
    EXPECT_EQ(cache["networks"], networks) << option;
  }
}

TEST_F(StylizeInfo, WithoutAPackageItIsAnErrorWhereOneWasNamed) {
  const TemporaryFolder empty;
  EXPECT_TRUE(run({"info", "--json", "--models", empty.path().string()}, 3)["package"].is_null());
}

TEST_F(StylizeInfo, SelftestComparesWithWhatThePackageSays) {
  cv::Mat inverted = cv::Scalar::all(255) - media::selftestPhoto(); // the result of the cartoon's network
  inverted.col(inverted.cols - 1) = cv::Scalar::all(255);           // the library makes the last column black
  json expected = noExpectations();
  expected["styles"]["cartoon"] = {{"block_sums", plainBlockSums(inverted)}, {"tolerance", 1}}; // roundings
  expected["styles"]["lightgrey"] = {{"block_sums", plainBlockSums(inverted)}, {"tolerance", 16}};
  pack({{"selftest.json", expected.dump()}});
  const json result = run({"selftest", "--json", "--models", package_.folder()}, 4);
  EXPECT_TRUE(result["package_problem"].is_null()) << result;
  EXPECT_EQ(result["inputs"], expected["inputs"]);
  for (const json& style : result["styles"]) {
    EXPECT_EQ(style["outcome"], style["style"] == "lightgrey" ? "failed" : "ok") << style;
    EXPECT_EQ(style["largest_difference"].is_null(), style["style"] == "transfer") << style;
    if (style["style"] == "lightgrey") {
      EXPECT_EQ(style["error"], "the result differs from the expected one");
      EXPECT_GT(style["largest_difference"], 16);
    } else if (style["style"] == "cartoon") {
      EXPECT_LE(style["largest_difference"], 1);
      EXPECT_EQ(style["allowed"], 1);
    }
  }
}

TEST_F(StylizeInfo, SelftestLeavesOutWhatItCannotUse) {
  json other = noExpectations();
  other["inputs"]["style_image"] = other["inputs"]["photo"];
  other["styles"]["cartoon"] = {{"block_sums", std::string(128, '0')}, {"tolerance", 0}};
  for (const auto& [entry, problem] : {std::pair(other.dump(), "was made for other built-in pictures: "),
                                       {noExpectations().dump() + std::string(300000, ' '), "is damaged: "}}) {
    pack({{"selftest.json", entry}});
    const ChildResult result = StylizeRun::run({"selftest", "--models", package_.folder()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.standard_output, HasSubstr("cartoon: ok, not compared: this package holds no expected result\n"));
    EXPECT_THAT(result.standard_error, HasSubstr("'selftest.json' " + std::string(problem)));
  }
}

// The exit status is that of the first failure. This network leaves the picture unchanged.
TEST_F(StylizeInfo, SelftestFindsANetworkThatChangesNothing) {
  package_.write({networkFiles(kCartoon, FixedNetwork{.gain = 1})});
  const json result = run({"selftest", "--json", "--models", package_.folder()}, 3);
  EXPECT_THAT(result["styles"][2]["error"].get<std::string>(), HasSubstr("lacks"));
  EXPECT_THAT(result["styles"][3]["error"].get<std::string>(), HasSubstr("equals the input"));
}

} // namespace
} // namespace vorin::tests
