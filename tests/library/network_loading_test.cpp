// Loading a network: which files it takes, what it says on the way, what stays behind, and how every failure ends. The real
// runtime compiles and runs small networks; their answers tell which file was loaded.
#include "neural/neural_engine.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <iostream>
#include <optional>

namespace vorin::neural {
namespace {

using namespace tests;
using namespace testing;

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
    const auto& [device, style_type, style_index, width, height] = request;
    LogLines log;
    const _VorinStatus status = engine_->load(device, style_type, style_index, width, height, folder);
    lines_ = log.take();
    return status;
  }

  // The network's answer to a frame of one byte value, at its own size.
  float answer(std::uint8_t byte) { return engine_->infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(byte))).data<float>()[0]; }

  static std::string cacheFolder() { return inProgramFolder("cache"); }

  TestPackage package_;
  std::optional<NeuralEngine> engine_{std::in_place}; // which a test may replace
  Lines lines_;

private:
  static void clear() {
    removeUnpackedNetworkFiles();
    removeFolder(cacheFolder()); // the runtime protects its files
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

const std::string kFolder = "[I] getWritableFolder: " + programFolder();

std::string deviceLine(const std::string& device) {
  return "[I] Device info: " + device + ", support: " + capabilitiesOf(device);
}

std::string deletedLine(const std::string& file, const char* outcome = "success") {
  return "[V] del " + inProgramFolder(file) + " " + outcome;
}

const std::string kNoEntry = "[E] unpack file failed.";
const std::string kNoFile = "[E] create model file error.";
const std::string kRead = "[I] ReadNetwork finished";
const std::string kException = "[E] init error: ";
const std::string kXml = "cartoon_model_slim5.xml";
const std::string kBin = "cartoon_model_slim5.bin";

TEST_F(NetworkLoadingTest, TellsItsStepsInOrderAndLeavesOnlyTheCache) {
  package_.write({networkFiles(kCartoon, FixedNetwork{})});
  ASSERT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  EXPECT_THAT(lines_, ElementsAre(kFolder, // where the cache goes
                                  deviceLine("GPU"), kFolder, kFolder, "[I] Init NN", kRead, "[I] end Init",
                                  AllOf(StartsWith("[I] loading model takes "), EndsWith(".000000 ms")), deletedLine(kXml),
                                  deletedLine(kBin)));
  EXPECT_THAT(unpackedNetworkFiles(), IsEmpty());
  EXPECT_FALSE(fs::is_empty(cacheFolder()));

  // Loaded once: what is asked for, and whether there still is a package, plays no part any more.
  EXPECT_EQ(load({.device = "nothing", .style_type = 9}, "/nowhere"), VORIN_STATUS_OK);
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_NEAR(answer(255), 1.0F, kHalfPrecision);
}

// The stand-in has no devices of a number, and refuses a cache for them; the folder of the cache is made first.
TEST_F(NetworkLoadingTest, CachesCompiledNetworksForTheFirstTwoGpusOnly) {
  package_.write({networkFiles(kCartoon, FixedNetwork{})});
  for (const auto& [device, cached] : {std::pair("GPU", true),
                                       {"GPU.0", true},
                                       {"GPU.1", true},
                                       {"GPU.2", false},
                                       {"GPU.10", false},
                                       {"gpu", false},
                                       {"GPU.", false},
                                       {"CPU", false}}) {
    SCOPED_TRACE(device);
    testing::internal::CaptureStdout(); // of what cannot be compiled for
    load({.device = device, .style_type = SttStyleCartoon});
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lines_.front() == kFolder, cached) << lines_.front();
    EXPECT_EQ(fs::exists(cacheFolder()), cached);
    engine_.emplace(); // Windows keeps files that are in use
    removeFolder(cacheFolder());
  }
}

TEST_F(NetworkLoadingTest, DoesWithoutACacheThatIsNotTheUsersOwn) {
  package_.write({networkFiles(kCartoon, FixedNetwork{})});
  const TemporaryFolder elsewhere;
  std::error_code no_links;
  fs::create_directory_symlink(elsewhere.path(), cacheFolder(), no_links);
  if (no_links) {
    writeFile(cacheFolder(), "in the way");
  }
  EXPECT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));
  EXPECT_NEAR(answer(255), 1.0F, kHalfPrecision);
  fs::remove(cacheFolder());
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
  const std::vector<std::string> five(5, "exception: compile model");
  EXPECT_EQ(linesOf(testing::internal::GetCapturedStdout()), five);
  const std::string name = kTransfer256;
  EXPECT_THAT(lines_,
              ElementsAre(deviceLine("HETERO"), kFolder, kFolder, "[I] Init NN", kRead, "[I] end Init",
                          StartsWith("[I] loading model takes "), deletedLine(name + ".xml"), deletedLine(name + ".bin")));
  EXPECT_THROW(answer(0), std::exception);

  EXPECT_EQ(load({.style_type = SttStyleTransfer}), VORIN_STATUS_OK); // not tried again
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_THROW(answer(0), std::exception);
}

TEST_F(NetworkLoadingTest, FitsNetworksOfOneInputToTheFrameUpToFullHd) {
  const struct {
    std::int32_t style_type;
    std::int32_t width, height;
    ov::Shape output;
  } cases[] = {
      {SttStyleLightGrey, 0, 0, {1, 3, 7, 13}},    {SttStyleLightGrey, 0, 20, {1, 3, 7, 13}},
      {SttStyleCartoon, 20, 0, {1, 3, 7, 13}},     {SttStyleCartoon, 21, 9, {1, 3, 9, 21}},
      {SttStyleCartoon, 1, 1, {1, 3, 1, 1}},       {SttStyleLightGrey, 1921, 5, {1, 3, 5, 1920}},
      {SttStyleCartoon, 5, 1081, {1, 3, 1080, 5}}, {SttStyleLightGrey, 3840, 2160, {1, 3, 1080, 1920}},
      {SttStyleTransfer, 21, 9, {1, 3, 7, 13}},
  };
  package_.write({twinFiles(kLightGrey, FixedNetwork{}), networkFiles(kCartoon, FixedNetwork{}),
                  twinFiles(kTransfer256, TransferNetwork{})});
  for (const auto& size : cases) {
    SCOPED_TRACE(testing::Message() << "style " << size.style_type << ", " << size.width << " x " << size.height);
    NeuralEngine engine;
    ASSERT_EQ(engine.load("CPU", size.style_type, -1, size.width, size.height, package_.folder()), VORIN_STATUS_OK);
    Picture style = randomPicture(13, 7, 1);
    if (size.style_type == SttStyleTransfer) {
      engine.bindStyleImage(frameOf(style, {13, 7}));
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
  Lines left_behind;
};

std::vector<FailureCase> failureCases() {
  constexpr auto kFailed = VORIN_STATUS_FAILED;
  constexpr auto kInvalid = VORIN_STATUS_INVALID_PARAM;
  const std::vector<NamedContent> cartoon = networkFiles(kCartoon, FixedNetwork{});
  const std::vector<NamedContent> three_inputs = networkFiles(kCartoon, makeSum({"a", "b", "c"}));
  const std::vector<NamedContent> no_style = networkFiles(kTransfer540, makeSum({"input_content", "style"}));
  const Request wanted = {.style_type = SttStyleCartoon};
  const Request transfer = {.style_type = SttStyleTransfer, .style_index = 2};
  const Request no_device = {.device = "notfind", .style_type = SttStyleCartoon};
  const Request negative = {.style_type = SttStyleCartoon, .width = -1, .height = 8};
  const Lines cartoon_left = {kBin, kXml};
  const Lines transfer_left = {std::string(kTransfer540) + ".bin", std::string(kTransfer540) + ".xml"};
  // Both begin as networks do: for other texts the runtime asks all its readers, one of which leaks.
  const std::string cut = "<?xml version=\"1.0\"?><net name=\"cut\" version=\"11\"><layers>";
  const std::string inputs_line = "[I] only support 1 or 2 inputs";
  std::vector<FailureCase> cases = {
      {"style 3", {cartoon}, {.style_type = 3}, VORIN_STATUS_UNKNOWN_TYPE, {"[E] unsupported style"}, {}},
      {"no network", {{cartoon[1]}}, wanted, NeuralEngine::kExtractionFailed, {kNoEntry, kNoFile}, {}},
      {"three inputs", {three_inputs}, wanted, kInvalid, {kRead, inputs_line}, cartoon_left},
      {"no style input", {no_style}, transfer, kFailed, {kRead, kException}, transfer_left},
      {"no device", {cartoon}, no_device, kFailed, {kException}, {}},
      {"a negative size", {cartoon}, negative, kFailed, {kRead, kException}, cartoon_left},
      {"a network cut off", {{{kXml, cut}, cartoon[1]}}, wanted, kFailed, {kException}, cartoon_left},
      {"no inputs", {{{kXml, cut + "</layers></net>"}, cartoon[1]}}, wanted, kInvalid, {inputs_line}, cartoon_left},
  };
  for (const char* shape :
       {"1,3,7", "1,1,7,13", "2,3,7,13", "0,3,7,13", "1,3,0,13", "1,3,7,0", "1,3,40000,40000", "1,3,1,4294967309", "1,3,-2,13"}) {
    IrNetwork network;
    network.output(network.input({"frame"}, shape));
    cases.push_back({shape, {networkFiles(kCartoon, network)}, wanted, kFailed, {kException}, cartoon_left});
  }
  return cases;
}

TEST_F(NetworkLoadingTest, EveryFailureHasItsLineAndStatusAndTheNextLoadClearsUp) {
  for (const FailureCase& failure : failureCases()) {
    SCOPED_TRACE(failure.description);
    engine_.emplace();
    package_.write(failure.networks);
    EXPECT_EQ(load(failure.request), failure.status);
    ASSERT_GE(lines_.size(), failure.last_lines.size());
    EXPECT_TRUE(std::equal(failure.last_lines.rbegin(), failure.last_lines.rend(), lines_.rbegin(),
                           [](const std::string& start, const std::string& line) { return line.starts_with(start); }))
        << testing::PrintToString(lines_);
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

// A host may have its standard output throw what it likes, and a failed compilation writes there.
TEST_F(NetworkLoadingTest, WhatIsNoStandardExceptionDoesNotLeaveEither) {
  struct ThrowingOutput : std::streambuf {
    int_type overflow(int_type /*character*/) override { throw 7; } // NOLINT(hicpp-exception-baseclass)
  } output;
  package_.write({twinFiles(kTransfer256, TransferNetwork{})});
  std::streambuf* const before = std::cout.rdbuf(&output);
  std::cout.exceptions(std::ios::badbit);
  _VorinStatus status = VORIN_STATUS_OK;
  EXPECT_NO_THROW(status = load({.device = "HETERO", .style_type = SttStyleTransfer}));
  std::cout.exceptions(std::ios::goodbit);
  std::cout.rdbuf(before); // clears the state too
  EXPECT_EQ(status, VORIN_STATUS_FAILED);
  EXPECT_THAT(lines_.back(), StartsWith(kException));
}

TEST_F(NetworkLoadingTest, ANetworkWithoutItsWeightsIsFoundOutByTheRuntime) {
  const std::vector<NamedContent> cartoon = networkFiles(kCartoon, FixedNetwork{});
  package_.write({{cartoon[0]}});
  fs::create_directories(fs::path(inProgramFolder(kBin)) / "that stays"); // what cannot be removed is not read either
  EXPECT_EQ(load({.style_type = SttStyleCartoon}), NeuralEngine::kExtractionFailed);
  fs::remove_all(inProgramFolder(kBin));
  engine_.emplace();
  writeFile(inProgramFolder(kBin), cartoon[1].content); // another package's, or somebody else's
  ASSERT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_FAILED);
  EXPECT_THAT(lines_, AllOf(Contains(kNoEntry), Not(Contains(kNoFile))));
  EXPECT_THAT(lines_.back(), StartsWith(kException));
  EXPECT_EQ(unpackedNetworkFiles(), Lines{kXml});

  package_.write({cartoon});
  EXPECT_EQ(load({.style_type = SttStyleCartoon}), VORIN_STATUS_OK);
  // The file of the first attempt is the second's too, so its first deletion is the only one that succeeds.
  EXPECT_EQ(Lines(lines_.end() - 3, lines_.end()), (Lines{deletedLine(kXml), deletedLine(kXml, "fail"), deletedLine(kBin)}));
}

TEST_F(NetworkLoadingTest, ThePackageFolderMustBeThereAndWritable) {
  const Lines refused = {"[E] sdk path not exist"};
  EXPECT_EQ(load({}, package_.folder() + "/missing"), VORIN_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(lines_, refused);
  EXPECT_EQ(load({.style_type = 5}, ""), VORIN_STATUS_PATH_NOT_FOUND); // asked before the style is looked at
  EXPECT_EQ(lines_, refused);

  const TemporaryFolder without_package;
  EXPECT_EQ(load({}, without_package.path().string()), NeuralEngine::kExtractionFailed);
  EXPECT_EQ(lines_.back(), kNoFile);

  fs::permissions(without_package.path(), fs::perms::owner_read | fs::perms::owner_exec);
  if (mayWriteTo(without_package.path())) {
    GTEST_SKIP() << "this user may write anywhere, so no folder can be made unwritable";
  }
  EXPECT_EQ(load({}, without_package.path().string()), VORIN_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(lines_, refused);
}

} // namespace
} // namespace vorin::neural
