// What vorin-stylize does when a model package, a network or a style image is wrong: the right exit status, one line on standard
// error that says what to do, nothing on standard output, and not a file more or less than before.

#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCartoonEntry = "cartoon_model_slim5.xml";
constexpr const char* kIncomplete = "no model package, or an incomplete one";

std::string cartoonPackage() {
  return packageBytes(networkFiles(kCartoon, FixedNetwork{}));
}

// Compiled, but it fails when it runs: sequences longer than there are numbers.
IrNetwork networkThatDoesNotRun() {
  IrNetwork network;
  const auto input = network.input({"frame"}, "1,3,7,13");
  const auto beyond = network.constant("3", std::vector<std::int64_t>{9999, 9999, 9999});
  network.output(network.operation("ReverseSequence", {input, beyond}, "batch_axis=\"1\" seq_axis=\"2\""));
  return network;
}

struct FailureCase {
  std::string name;
  std::string package;                // the bytes of model_st.bin
  std::vector<std::string> arguments; // after the photo and the output; a "%" in front stands for the folder
  int exit_status;
  std::string said; // part of the one line
};

std::vector<FailureCase> packageCases() {
  const std::vector<std::string> cartoon = {"--style", "cartoon", "--models", "%models"};
  const std::vector<std::string> grey = {"--style", "lightgrey", "--models", "%models"};
  const std::vector<std::string> transfer = {"--style",   "transfer", "--style-image", "%photo.png",
                                             "--network", "540p",     "--models",      "%models"};
  const std::string complete = cartoonPackage();
  const std::string directory_end = recordBytes("", 0, 0);
  return {
      {"Empty", "", cartoon, 3, kIncomplete},
      {"Text", "this is a text and no package\n", cartoon, 3, kIncomplete},
      {"RandomBytes", randomBytes(5000, 11), cartoon, 3, kIncomplete},
      {"DirectoryCut", complete.substr(0, 30), cartoon, 3, kIncomplete},
      {"NoEndOfDirectory", recordBytes("a", 0, 0) + recordBytes("b", 0, 0), cartoon, 3, kIncomplete},
      {"NameWithoutEnd", std::string(5000, 'n'), cartoon, 3, kIncomplete},
      {"DataCut", complete.substr(0, complete.size() - 1), cartoon, 3, kIncomplete},
      {"EntryPastTheEnd", recordBytes(kCartoonEntry, 100, 1000) + directory_end, cartoon, 3, kIncomplete},
      {"OffsetBeyond2GiB", recordBytes(kCartoonEntry, 0, 0x80000000) + directory_end, cartoon, 3, kIncomplete},
      {"HugeEntry", recordBytes("huge", 0x40000001, 0) + directory_end, cartoon, 3, kIncomplete},
      {"NoEntries", directory_end, cartoon, 3, "lacks 'cartoon_model_slim5.xml', 'cartoon_model_slim5.bin'"},
      {"OtherStyleOnly", complete, grey, 3, "lacks 'model_lightgrey_v19.xml'"},
      {"OtherNetworkOnly", packageBytes(networkFiles(kTransfer512, TransferNetwork{})), transfer, 3,
       "lacks 'ensemble_out_r31_c540p_s512"},
      {"NoTwin", packageBytes(networkFiles(kLightGrey, FixedNetwork{})), grey, 3,
       "lacks 'model_lightgrey_v19_int8.xml', 'model_lightgrey_v19_int8.bin'"},
      {"NoWeights", packageBytes({networkFiles(kCartoon, FixedNetwork{}).front()}), cartoon, 3,
       "lacks 'cartoon_model_slim5.bin'"},
      {"NetworkCut", packageBytes({{kCartoonEntry, "<?xml version=\"1.0\"?><net name=\"cut\" version=\"11\"><layers>"}}), cartoon,
       3, "lacks 'cartoon_model_slim5.bin'"},
      {"ThreeInputs", packageBytes(networkFiles(kCartoon, makeSum({"a", "b", "c"}))), cartoon, 3, "vorin-pack verify"},
      {"InputsWithoutTheirNames", packageBytes(networkFiles(kTransfer540, makeSum({"a", "b"}))), transfer, 3,
       "vorin-pack verify"},
      {"DoesNotRun", packageBytes(networkFiles(kCartoon, networkThatDoesNotRun())), cartoon, 3, "does not work"},
      {"OneColourForEverything", packageBytes(networkFiles(kCartoon, FixedNetwork{.gain = 0})), cartoon, 3, "does not work"},
      {"MissingFolder", complete, {"--style", "cartoon", "--models", "%none"}, 3, "not a folder"},
      {"FileForAFolder", complete, {"--style", "cartoon", "--models", "%photo.png"}, 3, "not a folder"},
      {"FolderWithoutPackage", complete, {"--style", "cartoon", "--models", "%"}, 3, "does not exist"},
      {"PackageIsFolder", complete, {"--style", "cartoon", "--models", "%wrong"}, 3, "is not a file"},
  };
}

std::vector<FailureCase> styleImageCases() {
  const auto transfer = [](std::vector<std::string> more) {
    more.insert(more.begin(), {"--style", "transfer", "--models", "%models"});
    return more;
  };
  const std::string package = packageBytes(twinFiles(kTransfer512, TransferNetwork{}));
  return {
      {"NoStyleImage", package, transfer({}), 2, "--style-image"},
      {"StyleImageMissing", package, transfer({"--style-image", "%none.png"}), 5, "none.png' does not exist"},
      {"StyleImageIsText", package, transfer({"--style-image", "%text.png"}), 5, "text.png' is not a PNG"},
      {"StyleImageForCartoon", package, {"--style", "cartoon", "--style-image", "%photo.png"}, 2, "--style-image is of no use"},
      {"StyleImageForPencil", package, {"--style", "pencil", "--style-image", "%photo.png"}, 2, "--style-image is of no use"},
      {"NetworkForLightGrey", package, {"--style", "lightgrey", "--network", "256"}, 2, "--network is of no use"},
      {"UnknownNetwork", package, transfer({"--style-image", "%photo.png", "--network", "1024"}), 2, "512, 256, 540p"},
  };
}

class StylizeNeuralFailure : public testing::TestWithParam<FailureCase> {
protected:
  void SetUp() override {
    run_.photo("photo.png", {61, 47});
    std::ofstream(run_.file("text.png")) << "not a picture, however long this text may be: it begins like none of them\n";
    fs::create_directory(run_.file("models"));
    fs::create_directories(run_.file("wrong") + "/model_st.bin");
  }

  // The library leaves the files of a network that it could not read beside the program, until it loads that style again.
  void TearDown() override { removeUnpackedNetworkFiles(); }

  StylizeRun run_;
};

TEST_P(StylizeNeuralFailure, SaysOneLineAndLeavesNothing) {
  const FailureCase& failure = GetParam();
  writeFile(run_.file("models") + "/model_st.bin", failure.package);
  const auto names_before = run_.names();
  const ChildResult result = run_.draw(run_.inFolder(failure.arguments), StylizeRun::withGpu());
  expectFailure(result, failure.exit_status, failure.said);
  EXPECT_EQ(run_.names(), names_before);
  EXPECT_EQ(readFile(run_.file("models") + "/model_st.bin"), failure.package);
}

INSTANTIATE_TEST_SUITE_P(Packages, StylizeNeuralFailure, testing::ValuesIn(packageCases()),
                         [](const auto& each) { return each.param.name; });
INSTANTIATE_TEST_SUITE_P(StyleImages, StylizeNeuralFailure, testing::ValuesIn(styleImageCases()),
                         [](const auto& each) { return each.param.name; });

// The runtime asks its readers of other kinds of networks, which complain on standard error.
TEST_F(StylizeNeuralFailure, NetworkIsText) {
  writeFile(run_.file("models") + "/model_st.bin",
            packageBytes({{kCartoonEntry, "no network"}, {"cartoon_model_slim5.bin", ""}}));
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["ASAN_OPTIONS"] = "detect_leaks=0"; // one of those readers leaks
  expectFailure(run_.draw({"--style", "cartoon", "--models", run_.file("models")}, setting), 3, "vorin-pack verify");
}

// The library unpacks the network beside the program and removes its files once they are loaded.
TEST_F(StylizeNeuralFailure, CancelledLoadingSaysSoAndLeavesNothing) {
  constexpr std::size_t kPaddingBytes = 64U << 20U; // so much that the loading takes far longer than a look for the file
  writeFile(run_.file("models") + "/model_st.bin",
            packageBytes(networkFiles(kCartoon, FixedNetwork{.padding_floats = kPaddingBytes / 4})));
  const auto names_before = run_.names();
  const fs::path unpacked = fs::path(StylizeRun::program()).parent_path() / kCartoonEntry;
  ASSERT_FALSE(fs::exists(unpacked));
  const ChildResult result = StylizeRun::runCancelled(
      {run_.file("photo.png"), "-o", run_.file("out.png"), "--style", "cartoon", "--models", run_.file("models")},
      StylizeRun::withGpu(), [&] { return fs::exists(unpacked); });
  EXPECT_EQ(result.exit_status, 130);
  EXPECT_EQ(result.standard_error, "vorin-stylize: cancelled\n");
  EXPECT_EQ(result.standard_output, "");
  EXPECT_EQ(run_.names(), names_before);
  EXPECT_FALSE(fs::exists(unpacked));
  EXPECT_FALSE(fs::exists(fs::path(unpacked).replace_extension(".bin")));
}

// What a package lacks shows before there is a device: no word of a missing GPU, and no drawing for a sheet.
TEST_F(StylizeNeuralFailure, AbsentNetworksShowFirst) {
  writeFile(run_.file("models") + "/model_st.bin", cartoonPackage());
  fs::copy_file(run_.file("photo.png"), run_.file("models") + "/painting.png");
  for (const std::vector<std::string>& what : {std::vector<std::string>{run_.file("photo.png"), "--style", "lightgrey"},
                                               std::vector<std::string>{"sheet", run_.file("photo.png")}}) {
    std::vector<std::string> arguments = what;
    arguments.insert(arguments.end(), {"-o", run_.file("out.png"), "--models", run_.file("models")});
    expectFailure(StylizeRun::run(arguments, StylizeRun::withoutGpu()), 3, "lacks 'model_lightgrey_v19.xml'");
  }
}

TEST(StylizeNeuralFailures, NoPackageNearTheProgram) {
  const StylizeRun run;
  ChildSetting setting = StylizeRun::withGpu();
  const std::string program = StylizeRun::copyProgram(run.folder(), setting);
  const std::string photo = run.photo("photo.png", {61, 47});
  expectFailure(ChildProcess({program, photo, "-o", run.file("out.png"), "--style", "cartoon"}, setting).wait(), 3, "--models");
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png", StylizeRun::programName()}));
}

} // namespace
} // namespace vorin::tests
