// Loading a network: which files it takes, what it says on the way, what stays behind, and how every failure ends. The real
// runtime compiles and runs small networks; their answers tell which file was loaded.
#include "neural/neural_engine.h"
#include "support/log_lines.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

namespace vorin::neural {
namespace {

namespace fs = std::filesystem;
using namespace tests;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

using Lines = std::vector<std::string>;

struct Request {
  const char* device = "GPU";
  std::int32_t style_type = SttStyleLightGrey;
  std::int32_t style_index = -1;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

class NetworkLoadingTest : public testing::Test {
protected:
  NetworkLoadingTest() { clear(); }
  ~NetworkLoadingTest() override { clear(); }

  _VorinStatus load(const Request& request) { return load(request, package_.folder()); }

  _VorinStatus load(const Request& request, const std::string& folder) {
    LogLines log;
    const _VorinStatus status =
        engine_->load(request.device, request.style_type, request.style_index, request.width, request.height, folder);
    lines_ = log.take();
    return status;
  }

  // The network's answer to a frame of one byte value, at its own size.
  float answer(std::uint8_t byte) {
    const ov::Tensor output = engine_->infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(byte)));
    return output.data<float>()[0];
  }

  bool hasLine(const std::string& line) const { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); }

  static std::string cacheFolder() { return inProgramFolder("cache"); }

  TestPackage package_;
  std::optional<NeuralEngine> engine_{std::in_place}; // which a test may replace
  Lines lines_;

private:
  static void clear() {
    removeUnpackedNetworkFiles();
    std::error_code ignored;
    removeFolder(cacheFolder(), ignored); // the runtime protects its files
  }
};

// Each capability with a blank before it.
std::string capabilitiesOf(const std::string& device) {
  std::string text;
  for (const std::string& capability : ov::Core().get_property(device, ov::device::capabilities)) {
    text += " " + capability;
  }
  return text;
}

// Frames pass through 16-bit floats, whose steps near 1 are this wide.
constexpr float kHalfPrecision = 1.0F / 1024;

std::string info(const std::string& message) {
  return "====== sdk: [I] " + message;
}

std::string folderLine() {
  return info("getWritableFolder: " + programFolder());
}

std::string deletedLine(const std::string& file) {
  return "====== sdk: [V] del " + inProgramFolder(file) + " success";
}

const std::string kNoFile = "====== sdk: [E] create model file error.";

TEST_F(NetworkLoadingTest, TellsItsStepsInOrderAndLeavesOnlyTheCache) {
  package_.write({networkFiles(kCartoon, FixedNetwork{})});
  ASSERT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  EXPECT_THAT(lines_, ElementsAre(folderLine(), // where the cache goes
                                  info("Device info: GPU, support: " + capabilitiesOf("GPU")), folderLine(), folderLine(),
                                  info("Init NN"), info("ReadNetwork finished"), info("end Init"),
                                  AllOf(StartsWith(info("loading model takes ")), EndsWith(".000000 ms")),
                                  deletedLine("cartoon_model_slim5.xml"), deletedLine("cartoon_model_slim5.bin")));
  EXPECT_THAT(unpackedNetworkFiles(), IsEmpty());
  EXPECT_FALSE(fs::is_empty(cacheFolder()));

  // Loaded once: what is asked for, and whether there still is a package, plays no part any more.
  EXPECT_EQ(load({.device = "nothing", .style_type = 9}, "/nowhere"), VORIN_STATUS_OK);
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_NEAR(answer(255), 1.0F, kHalfPrecision);
}

TEST_F(NetworkLoadingTest, CachesCompiledNetworksForGpusOnly) {
  package_.write({networkFiles(kCartoon, FixedNetwork{})});
  ASSERT_EQ(load({.device = "CPU", .style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  EXPECT_EQ(lines_.front(), info("Device info: CPU, support: " + capabilitiesOf("CPU")));
  EXPECT_FALSE(fs::exists(cacheFolder()));
}

// A second engine finds the first one's compiled network and answers the same.
TEST_F(NetworkLoadingTest, ACachedNetworkAnswersAsTheFirst) {
  package_.write({networkFiles(kCartoon, FixedNetwork{.gain = 0.5F, .bias = 3})});
  for (int time = 0; time < 2; ++time) {
    engine_.emplace();
    ASSERT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
    EXPECT_NEAR(answer(255), 3.5F, kHalfPrecision);
  }
  EXPECT_FALSE(fs::is_empty(cacheFolder()));
}

TEST_F(NetworkLoadingTest, TakesTheQuantisedTwinWhereTheDeviceReportsInt8) {
  package_.write({twinFiles(kLightGrey, FixedNetwork{})});
  const bool quantised = capabilitiesOf("GPU").find("INT8") != std::string::npos;
  const std::string name = quantised ? "model_lightgrey_v19_int8" : "model_lightgrey_v19";
  ASSERT_EQ(load({}), VORIN_STATUS_OK);
  EXPECT_EQ(Lines(lines_.end() - 2, lines_.end()), (Lines{deletedLine(name + ".xml"), deletedLine(name + ".bin")}));
  EXPECT_NEAR(answer(255), quantised ? 1.0F + kTwinBias : 1.0F, kHalfPrecision);
}

// HETERO reports no capability of arithmetic, and is nothing without the devices that it should spread a network over: compiling
// fails, which counts as loaded.
TEST_F(NetworkLoadingTest, TakesTheFloatTwinElsewhereAndAFailedCompilationForSuccess) {
  package_.write({twinFiles(kTransfer256, TransferNetwork{})});
  testing::internal::CaptureStdout();
  EXPECT_EQ(load({.device = "HETERO", .style_type = SttStyleTransfer}), VORIN_STATUS_OK);
  std::string five;
  for (int attempt = 0; attempt < 5; ++attempt) {
    five += "exception: compile model\n";
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), five);
  EXPECT_THAT(lines_,
              ElementsAre(info("Device info: HETERO, support: " + capabilitiesOf("HETERO")), folderLine(), folderLine(),
                          info("Init NN"), info("ReadNetwork finished"), info("end Init"),
                          StartsWith(info("loading model takes ")), deletedLine("ensemble_out_r31_256_retrained_autoencoder.xml"),
                          deletedLine("ensemble_out_r31_256_retrained_autoencoder.bin")));
  EXPECT_THROW(answer(0), std::exception);

  EXPECT_EQ(load({.style_type = SttStyleTransfer}), VORIN_STATUS_OK); // not tried again
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_THROW(answer(0), std::exception);
}

struct SizeCase {
  std::int32_t style_type;
  std::int32_t width, height;
  ov::Shape output;
};

TEST_F(NetworkLoadingTest, FitsNetworksOfOneInputToTheFrameUpToFullHd) {
  const SizeCase cases[] = {
      {SttStyleLightGrey, 0, 0, {1, 3, 7, 13}},    {SttStyleLightGrey, 0, 20, {1, 3, 7, 13}},
      {SttStyleCartoon, 20, 0, {1, 3, 7, 13}},     {SttStyleCartoon, 21, 9, {1, 3, 9, 21}},
      {SttStyleCartoon, 1, 1, {1, 3, 1, 1}},       {SttStyleLightGrey, 1921, 5, {1, 3, 5, 1920}},
      {SttStyleCartoon, 5, 1081, {1, 3, 1080, 5}}, {SttStyleLightGrey, 3840, 2160, {1, 3, 1080, 1920}},
      {SttStyleTransfer, 21, 9, {1, 3, 7, 13}},
  };
  package_.write({networkFiles(std::string(kLightGrey) + kQuantised, FixedNetwork{}), networkFiles(kLightGrey, FixedNetwork{}),
                  networkFiles(kCartoon, FixedNetwork{}), twinFiles(kTransfer256, TransferNetwork{})});
  for (const SizeCase& size : cases) {
    SCOPED_TRACE(testing::Message() << "style " << size.style_type << ", " << size.width << " x " << size.height);
    NeuralEngine engine;
    ASSERT_EQ(engine.load("CPU", size.style_type, -1, size.width, size.height, package_.folder()), VORIN_STATUS_OK);
    std::vector<std::uint8_t> style(std::size_t{13} * 7 * 3);
    if (size.style_type == SttStyleTransfer) {
      engine.bindStyleImage({.memoryType = 0, .data = style.data(), .pixelFormat = 3, .width = 13, .height = 7, .pitch = 0});
    }
    EXPECT_EQ(engine.infer(cv::Mat(5, 6, CV_8UC3, cv::Scalar::all(9))).get_shape(), size.output);
  }
}

struct FailureCase {
  const char* description;
  std::vector<std::vector<NamedContent>> networks;
  Request request;
  _VorinStatus status;
  Lines last_lines; // the beginning of each
  std::vector<std::string> left_behind;
};

std::vector<FailureCase> failureCases() {
  const std::string no_entry = "====== sdk: [E] unpack file failed.";
  const std::string no_file = "====== sdk: [E] create model file error.";
  const std::string read = "====== sdk: [I] ReadNetwork finished";
  const std::string exception = "====== sdk: [E] init error: ";
  const std::vector<NamedContent> cartoon = networkFiles(kCartoon, FixedNetwork{});
  const std::string xml = "cartoon_model_slim5.xml";
  const std::string bin = "cartoon_model_slim5.bin";
  const Request wanted = {.style_type = SttStyleCartoon};
  const Request transfer = {.style_type = SttStyleTransfer, .style_index = 2};
  const auto transferFiles = [](const std::vector<std::string>& inputs) { return networkFiles(kTransfer540, makeSum(inputs)); };
  const std::vector<std::string> transfer_left = {std::string(kTransfer540) + ".bin", std::string(kTransfer540) + ".xml"};
  std::vector<FailureCase> cases = {
      {"style 3", {cartoon}, {.style_type = 3}, VORIN_STATUS_UNKNOWN_TYPE, {"====== sdk: [E] unsupported style"}, {}},
      {"no network", {{cartoon[1]}}, wanted, NeuralEngine::kExtractionFailed, {no_entry, no_file}, {}},
      {"three inputs",
       {networkFiles(kCartoon, makeSum({"a", "b", "c"}))},
       wanted,
       VORIN_STATUS_INVALID_PARAM,
       {read, "====== sdk: [I] only support 1 or 2 inputs"},
       {bin, xml}},
      {"other input names",
       {transferFiles({"content", "style"})},
       transfer,
       VORIN_STATUS_FAILED,
       {read, exception},
       transfer_left},
      {"no style input",
       {transferFiles({"input_content", "style"})},
       transfer,
       VORIN_STATUS_FAILED,
       {read, exception},
       transfer_left},
      {"unknown device", {cartoon}, {.device = "notfind", .style_type = SttStyleCartoon}, VORIN_STATUS_FAILED, {exception}, {}},
      {"a negative size",
       {cartoon},
       {.style_type = SttStyleCartoon, .width = -1, .height = 8},
       VORIN_STATUS_FAILED,
       {read, exception},
       {bin, xml}},
  };
  // Both begin as networks do: for other texts the runtime asks all its readers, one of which leaks.
  const std::string cut = "<?xml version=\"1.0\"?><net name=\"cut\" version=\"11\"><layers>";
  cases.push_back({"a network cut off", {{{xml, cut}, cartoon[1]}}, wanted, VORIN_STATUS_FAILED, {}, {bin, xml}});
  cases.push_back({"no inputs",
                   {{{xml, cut + "</layers></net>"}, cartoon[1]}},
                   wanted,
                   VORIN_STATUS_INVALID_PARAM,
                   {"====== sdk: [I] only support 1 or 2 inputs"},
                   {bin, xml}});
  return cases;
}

TEST_F(NetworkLoadingTest, EveryFailureHasItsLineAndStatusAndTheNextLoadClearsUp) {
  for (const FailureCase& failure : failureCases()) {
    SCOPED_TRACE(failure.description);
    engine_.emplace();
    package_.write(failure.networks);
    EXPECT_EQ(load(failure.request), failure.status);
    ASSERT_GE(lines_.size(), failure.last_lines.size());
    for (std::size_t line = 0; line < failure.last_lines.size(); ++line) {
      EXPECT_THAT(lines_[lines_.size() - failure.last_lines.size() + line], StartsWith(failure.last_lines[line]));
    }
    EXPECT_EQ(unpackedNetworkFiles(), failure.left_behind);
    EXPECT_THROW(engine_->infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(0))), std::exception);

    // The same engine, another style: only an engine that loaded keeps its network.
    package_.write({twinFiles(kLightGrey, FixedNetwork{})});
    EXPECT_EQ(load({}), VORIN_STATUS_OK);
    EXPECT_NO_THROW(engine_->infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(0))));
    engine_.reset(); // Windows keeps a deleted file while the network still uses it
    EXPECT_THAT(unpackedNetworkFiles(), IsEmpty());
  }
}

TEST_F(NetworkLoadingTest, ANetworkWithoutItsWeightsIsFoundOutByTheRuntime) {
  const std::vector<NamedContent> cartoon = networkFiles(kCartoon, FixedNetwork{});
  package_.write({{cartoon[0]}});
  EXPECT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_FAILED);
  EXPECT_TRUE(hasLine("====== sdk: [E] unpack file failed."));
  EXPECT_FALSE(hasLine(kNoFile));
  EXPECT_THAT(lines_.back(), StartsWith("====== sdk: [E] init error: "));
  EXPECT_EQ(unpackedNetworkFiles(), Lines{"cartoon_model_slim5.xml"});

  package_.write({cartoon});
  EXPECT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  // The file of the first attempt is the second's too, so its first deletion is the only one that succeeds.
  EXPECT_EQ(Lines(lines_.end() - 3, lines_.end()),
            (Lines{deletedLine("cartoon_model_slim5.xml"),
                   "====== sdk: [V] del " + inProgramFolder("cartoon_model_slim5.xml") + " fail",
                   deletedLine("cartoon_model_slim5.bin")}));
}

TEST_F(NetworkLoadingTest, ThePackageFolderMustBeThereAndWritable) {
  const Lines refused = {"====== sdk: [E] sdk path not exist"};
  EXPECT_EQ(load({}, package_.folder() + "/missing"), VORIN_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(lines_, refused);
  EXPECT_EQ(load({.style_type = 5}, ""), VORIN_STATUS_PATH_NOT_FOUND); // asked before the style is looked at
  EXPECT_EQ(lines_, refused);

  const TemporaryFolder without_package;
  EXPECT_EQ(load({}, without_package.path().string()), NeuralEngine::kExtractionFailed);
  EXPECT_EQ(lines_.back(), kNoFile);
}

TEST_F(NetworkLoadingTest, RefusesAFolderThatMayOnlyBeRead) {
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms::owner_read | fs::perms::owner_exec);
  if (mayWriteTo(folder.path())) {
    GTEST_SKIP() << "this user may write anywhere, so no folder can be made unwritable";
  }
  EXPECT_EQ(load({}, folder.path().string()), VORIN_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(lines_, Lines{"====== sdk: [E] sdk path not exist"});
}

} // namespace
} // namespace vorin::neural
