// What vorin-stylize tells about itself: info, selftest, and a drawing that is none.

#include "selftest_command.h"
#include "sha256.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>

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

// A network that leaves the picture as it is, in bgr as in rgb.
TEST_F(StylizeInfo, SelftestFindsANetworkThatDrawsNothing) {
  const TestPackage idle({networkFiles(kCartoon, FixedNetwork{.gain = 1})});
  const json result = run({"selftest", "--json", "--models", idle.folder()}, 3); // that of the first, which is not there
  EXPECT_THAT(result["styles"][2]["error"].get<std::string>(), HasSubstr("lacks"));
  EXPECT_THAT(result["styles"][3]["error"].get<std::string>(), HasSubstr("the photo itself"));
}

} // namespace
} // namespace vorin::tests
