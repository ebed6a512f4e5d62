// vorin-stylize with a faulty model package, network or style image: the right exit status, one line on standard
// error that says what to do, nothing on standard output, and not a file more or less than before.
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin::tests {
namespace {

constexpr const char* kCartoonEntry = "cartoon_model_slim5.xml";

// Compiled, but it fails when it runs: sequences longer than there are numbers.
IrNetwork networkThatDoesNotRun() {
  IrNetwork network;
  const auto input = network.input({"frame"}, "1,3,7,13");
  const auto beyond = network.constant("3", std::vector<std::int64_t>{9999, 9999, 9999});
  network.output(network.operation("ReverseSequence", {input, beyond}, "batch_axis=\"1\" seq_axis=\"2\""));
  return network;
}

// Packages, by their bytes, and what they end in; the arguments are those after the input and the output.
std::vector<std::pair<std::string, FailureCase>> failureCases() {
  const std::vector<std::string> cartoon = {"--style", "cartoon", "--models", "%models"};
  const std::vector<std::string> grey = {"--style", "lightgrey", "--models", "%models"};
  const auto transfer = [](const std::string& image) {
    return std::vector<std::string>{"--style", "transfer", "--style-image", image, "--network", "540p", "--models", "%models"};
  };
  const std::string complete = packageBytes(networkFiles(kCartoon, FixedNetwork{}));
  const std::string complete_540p = packageBytes(networkFiles(kTransfer540, TransferNetwork{}));
  constexpr const char* kIncomplete = "is not a complete model package";
  return {
      {"this is a text and no package\n", {"Text", cartoon, 3, kIncomplete}},
      {complete.substr(0, complete.size() - 1), {"DataCut", cartoon, 3, kIncomplete}},
      {recordBytes("", 0, 0), {"NoEntries", cartoon, 3, "lacks 'cartoon_model_slim5.xml', 'cartoon_model_slim5.bin'"}},
      {complete, {"OtherStyleOnly", grey, 3, "lacks 'model_lightgrey_v19.xml'"}},
      {packageBytes(networkFiles(kTransfer512, TransferNetwork{})),
       {"OtherNetworkOnly", transfer("%photo.png"), 3, "lacks 'ensemble_out_r31_c540p_s512"}},
      {packageBytes(networkFiles(kLightGrey, FixedNetwork{})),
       {"NoTwin", grey, 3, "lacks 'model_lightgrey_v19_int8.xml', 'model_lightgrey_v19_int8.bin'"}},
      {packageBytes({{kCartoonEntry, "no network"}, {"cartoon_model_slim5.bin", ""}}),
       {"IsText", cartoon, 3, "vorin-pack verify"}},
      {packageBytes(networkFiles(kCartoon, networkThatDoesNotRun())), {"DoesNotRun", cartoon, 3, "does not work"}},
      {complete, {"FolderWithoutPackage", {"--style", "cartoon", "--models", "%"}, 3, "does not exist"}},
      {complete, {"PackageIsFolder", {"--style", "cartoon", "--models", "%wrong"}, 3, "is not a file"}},
      {complete_540p, {"StyleImageMissing", transfer("%none.png"), 5, "none.png' does not exist"}},
      {complete_540p, {"StyleImageIsText", transfer("%text.png"), 5, "text.png' is not a PNG"}},
  };
}

class StylizeNeuralFailure : public testing::Test {
protected:
  void SetUp() override {
    run_.image("photo.png");
    std::ofstream(run_.file("text.png")) << "not an image, however long this text may be: it begins like none of them\n";
    fs::create_directory(run_.file("models"));
    fs::create_directories(run_.file("wrong") + "/model_st.bin");
  }

  void pack(const std::string& package) const { writeFile(run_.file("models") + "/model_st.bin", package); }

  StylizeRun run_;
};

TEST_F(StylizeNeuralFailure, SaysOneLineAndLeavesNothing) {
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["ASAN_OPTIONS"] = "detect_leaks=0"; // the runtime's readers of other kinds of networks leak
  for (auto [package, failure] : failureCases()) {
    failure.arguments.insert(failure.arguments.begin(), {"%photo.png", "-o", "%out.png"});
    pack(package);
    run_.expectFailureOf(failure, setting);
    EXPECT_EQ(readFile(run_.file("models") + "/model_st.bin"), package);
  }
}

// The library unpacks the network and removes its files once they are loaded: the first signal lets it do that, the second
// ends the program before.
TEST_F(StylizeNeuralFailure, LoadingIsCancelledByTheSecondSignalAtOnce) {
  constexpr std::size_t kPaddingBytes = 64U << 20U; // so large that loading lasts far longer than one poll for the file
  pack(packageBytes(networkFiles(kCartoon, FixedNetwork{.padding_floats = kPaddingBytes / 4})));
  const auto names_before = run_.names();
  for (const bool twice : {false, true}) {
    if (twice && fs::path::preferred_separator == '\\') {
      continue; // under Wine a child's console cannot be joined twice
    }
    const TemporaryFolder cache;
    const fs::path unpacked = cache.path() / "vorin-stt" / kCartoonEntry;
    ChildSetting setting = StylizeRun::withGpu();
    StylizeRun::setCacheFolder(setting, cache.path());
    const ChildResult result = runAndSignal(
        {StylizeRun::program(), run_.file("photo.png"), "-o", run_.file("out.png"), "--style", "cartoon", "--models",
         run_.file("models")},
        setting, [&] { return fs::exists(unpacked); }, twice ? std::vector{SIGINT, SIGTERM} : std::vector{SIGINT});
    EXPECT_EQ(result.exit_status, 130);
    EXPECT_EQ(result.standard_error, "vorin-stylize: cancelled\n");
    EXPECT_EQ(result.standard_output, "");
    EXPECT_EQ(run_.names(), names_before);
    EXPECT_EQ(fs::exists(unpacked), twice);
  }
}

// A missing entry of a package is reported before a device is chosen: no message about a missing GPU, and no result for a sheet.
TEST_F(StylizeNeuralFailure, AbsentNetworksShowFirst) {
  pack(packageBytes(networkFiles(kCartoon, FixedNetwork{})));
  fs::copy_file(run_.file("photo.png"), run_.file("models") + "/painting.png");
  for (std::vector<std::string> arguments : {std::vector<std::string>{run_.file("photo.png"), "--style", "lightgrey"},
                                             std::vector<std::string>{"sheet", run_.file("photo.png")}}) {
    arguments.insert(arguments.end(), {"-o", run_.file("out.png"), "--models", run_.file("models")});
    expectFailure(StylizeRun::run(arguments, StylizeRun::withoutGpu()), 3, "lacks 'model_lightgrey_v19.xml'");
  }
}

} // namespace
} // namespace vorin::tests
