// The shared library through its public header: both doors, the calling order's statuses and log lines, devices, and frames.
#include "support/api_object.h"
#include "support/guarded_buffer.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <cstdlib>
#include <cstring>

namespace vorin {
namespace {

using testing::HasSubstr;
using namespace tests;

// The lines of a log that are not about the devices of this machine.
std::vector<std::string> otherLines(const std::string& log) {
  std::vector<std::string> lines = logLinesOf(log);
  std::erase_if(lines, [](const std::string& line) { return line.find("Device ") != std::string::npos; });
  return lines;
}

bool softGpu() {
  return std::getenv("VORIN_SOFTGPU") != nullptr; // NOLINT(concurrency-mt-unsafe): the tests run on one thread
}

TEST(Devices, AreRequestedByKindAndHandedOutAlsoOnFailure) {
  const LogSetting setting(1);
  DebuggerOutput output;
  const Object object = makeObject();
  std::int32_t gpus = -1;
  object->EnumDevice(nullptr, &gpus);
  EXPECT_EQ(gpus > 0, output.take().find("Device GPU: ") != std::string::npos);
  for (const std::int32_t kind : {0, 1, 8, 3, -5}) {
    SttDeviceRequest request = {kind, 42, "my request"};
    SttDeviceRecord* device = nullptr;
    const _VorinStatus status = object->CreateDevice(&request, &device);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->kind, kind);
    EXPECT_EQ(device->reserved, 42);
    EXPECT_STREQ(device->fullName, "my request");
    if (softGpu()) {
      const bool found = kind == 0 || kind == 8;
      EXPECT_EQ(status, found ? VORIN_STATUS_OK : VORIN_STATUS_FAILED) << kind;
      EXPECT_STREQ(device->deviceName, found ? "GPU" : "notfind") << kind;
    } else if (gpus == 0) {
      EXPECT_EQ(status, VORIN_STATUS_FAILED) << kind;
      EXPECT_STREQ(device->deviceName, "notfind") << kind;
    }
    VorinSttContext context = nullptr;
    EXPECT_EQ(object->CreateContext(device, &context), VORIN_STATUS_OK);
    EXPECT_EQ(context, object.get());
  }
  SttDeviceRequest full = {8, 0, {}}; // a text that fills its field becomes none
  std::memset(full.name, 'n', sizeof full.name);
  SttDeviceRecord* nameless = nullptr;
  object->CreateDevice(&full, &nameless);
  EXPECT_STREQ(nameless->fullName, "");
}

TEST(Object, LogsItsWay) {
  const LogSetting setting(3);
  DebuggerOutput log;
  Object object = makeObject();
  object->SyncOperation(nullptr);
  object->Stop(nullptr);
  object.reset();
  EXPECT_EQ(SttFactory::Destroy(nullptr), VORIN_STATUS_OK); // and says nothing
  EXPECT_EQ(otherLines(log.take()),
            (std::vector<std::string>{"[I] Create StyleTransfer object", "[V] enter StyleTransfer::SyncOperation",
                                      "[V] exit StyleTransfer::SyncOperation", "[V] enter StyleTransfer::Stop",
                                      "[V] exit StyleTransfer::Stop", "[I] Destroy StyleTransfer object"}));
  // The file is closed before the last line.
  const std::vector<std::string> in_file = otherLines(readText(setting.logFile()));
  ASSERT_FALSE(in_file.empty());
  EXPECT_EQ(in_file.back(), "[V] exit StyleTransfer::Stop");
}

TEST(Object, ClosesTheSharedLogFileForAll) {
  const LogSetting setting(2);
  const Object first = makeObject();
  Object second = makeObject();
  second->Stop(nullptr);
  second.reset();
  const std::string at_close = readText(setting.logFile());
  EXPECT_THAT(at_close, HasSubstr("exit StyleTransfer::Stop"));
  first->SyncOperation(nullptr);
  EXPECT_EQ(readText(setting.logFile()), at_close);
}

TEST(Prepare, RefusesUnknownStyles) {
  for (const std::int32_t style : {-1, 5, 7}) {
    const LogSetting setting(1);
    DebuggerOutput log;
    const Object object = makeObject();
    object->SetConfig(nullptr, SttCfgStyleType, &style);
    EXPECT_EQ(object->Prepare(nullptr), VORIN_STATUS_FAILED);
    EXPECT_EQ(otherLines(log.take()),
              (std::vector<std::string>{"[I] Create StyleTransfer object", "[V] enter StyleTransfer::Prepare", "[I] Init plugins",
                                        "[I] unkonwn type", "[E] init error"}));
  }
}

// What the filters draw is tested at their modules.
class Frames : public testing::Test {
protected:
  SttFrame inputOf(std::uint32_t format) { return {VORIN_MEM_SYSTEM, input_.data(), format, kWidth, kHeight, kWidth * 4}; }
  SttFrame outputOf(std::uint32_t format) { return {99, output_.data(), format, 1, 2, 3}; }
  _VorinStatus process(const SttFrame& input, SttFrame& output) {
    return object_->ProcessFrame(nullptr, &input, nullptr, &output);
  }

  static constexpr std::uint32_t kWidth = 24;
  static constexpr std::uint32_t kHeight = 16;
  const LogSetting debugger_only_{1};
  const Object object_ = makeObject();
  GuardedBuffer input_{kWidth * kHeight * 4, 0x40};
  GuardedBuffer output_{kWidth * kHeight * 4};
};

TEST_F(Frames, OutsideSystemMemoryAreRefused) {
  configure(*object_, SttStylePencilSketch, kWidth, kHeight);
  SttFrame input = inputOf(VORIN_FMT_BGRA);
  input.memoryType = 1;
  SttFrame output = outputOf(VORIN_FMT_BGRA);
  DebuggerOutput log;
  EXPECT_EQ(process(input, output), VORIN_STATUS_UNSUPPORTED);
  EXPECT_EQ(otherLines(log.take()),
            (std::vector<std::string>{"[V] enter StyleTransfer::ProcessFrame", "[E] only support system memory now!"}));
  EXPECT_TRUE(output_.untouched());
  EXPECT_EQ(output.width, 1U);
  EXPECT_EQ(output.height, 2U);
}

TEST_F(Frames, OfAnUnknownStyleComeOutEmptyOrThrow) {
  configure(*object_, 9, kWidth, kHeight);
  const SttFrame input = inputOf(VORIN_FMT_BGRA);
  SttFrame output = outputOf(VORIN_FMT_BGR24);
  DebuggerOutput log;
  EXPECT_EQ(process(input, output), VORIN_STATUS_OK);
  EXPECT_EQ(otherLines(log.take()),
            (std::vector<std::string>{"[V] enter StyleTransfer::ProcessFrame", "[E] error type for style transfer",
                                      "[V] exit StyleTransfer::ProcessFrame"}));
  EXPECT_EQ(output.width, 0U);
  EXPECT_EQ(output.height, 0U);
  for (const std::uint32_t format : {VORIN_FMT_BGRA, VORIN_FMT_RGBA, VORIN_FMT_NV12, VORIN_FMT_YUY2}) {
    output = outputOf(format);
    EXPECT_THROW(process(input, output), cv::Exception) << format;
  }
  EXPECT_TRUE(output_.untouched());
}

TEST_F(Frames, ThrowWhereTheRequestedSizeIsZeroOrTheInputFormatUnknown) {
  for (const std::int32_t style : {SttStyleStippling, SttStylePencilSketch}) {
    configure(*object_, style, 0, kHeight);
    ASSERT_EQ(object_->Prepare(nullptr), VORIN_STATUS_OK);
    output_ = GuardedBuffer(output_.size());
    SttFrame output = outputOf(VORIN_FMT_BGRA);
    EXPECT_THROW(process(inputOf(VORIN_FMT_BGRA), output), cv::Exception);
    configure(*object_, style, kWidth, kHeight);
    EXPECT_THROW(process(inputOf(4), output), cv::Exception);
    EXPECT_TRUE(output_.untouched());
    // Neither leaves the object unusable.
    EXPECT_EQ(process(inputOf(VORIN_FMT_BGRA), output), VORIN_STATUS_OK);
    EXPECT_TRUE(output_.guardIntact());
  }
}

TEST(CDoor, RunsNoDestructorAndLeavesTheLogFileOpen) {
  const LogSetting setting(3);
  Object other = makeObject();
  VorinSttHandle handle = nullptr;
  ASSERT_EQ(vorin_SttCreate(&handle), VORIN_STATUS_OK);
  DebuggerOutput log;
  vorin_SttDestroy(handle);
  EXPECT_EQ(log.take(), "");
  other->Stop(nullptr);
  other.reset(); // closes the file that the C door's object had opened
  EXPECT_THAT(readText(setting.logFile()), HasSubstr("exit StyleTransfer::Stop"));
}

} // namespace
} // namespace vorin
