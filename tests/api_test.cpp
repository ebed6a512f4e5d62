// The shared library through its public header: both doors, the calling order's statuses and log lines, and devices.
#include "support/api_object.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

namespace vorin {
namespace {

using testing::HasSubstr;
using namespace tests;

bool softGpu() {
  return std::getenv("VORIN_SOFTGPU") != nullptr; // NOLINT(concurrency-mt-unsafe): the tests run on one thread
}

// ---- devices ----

TEST(Devices, AreTheRuntimesGpus) {
  const LogSetting setting(1);
  DebuggerOutput output;
  const Object object = makeObject();
  const std::string log = output.take();
  EXPECT_THAT(log, HasSubstr("====== sdk: [I] Create StyleTransfer object\n====== sdk: [I] Device CPU: "));
  std::int32_t count = -1;
  EXPECT_EQ(object->EnumDevice(nullptr, &count), VORIN_STATUS_OK);
  if (softGpu()) {
    ASSERT_EQ(count, 1);
    SttDeviceInfo info = {};
    EXPECT_EQ(object->EnumDevice(&info, &count), VORIN_STATUS_OK);
    EXPECT_EQ(info.kind, SttDeviceIntegratedGpu);
    EXPECT_STRNE(info.name, "");
    EXPECT_THAT(log, HasSubstr(std::string("Device GPU: ") + info.name + "\n"));
  } else if (log.find("Device GPU") == std::string::npos) {
    EXPECT_EQ(count, 0);
  }
}

TEST(Devices, AreRequestedByKindAndHandedOutAlsoOnFailure) {
  const Object object = makeObject();
  std::int32_t gpus = 0;
  object->EnumDevice(nullptr, &gpus);
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
}

TEST(Devices, RequestsWithATextThatFillsItsFieldBecomeNameless) {
  const Object object = makeObject();
  SttDeviceRequest request = {8, 0, {}};
  std::memset(request.name, 'n', sizeof request.name);
  SttDeviceRecord* device = nullptr;
  object->CreateDevice(&request, &device);
  EXPECT_STREQ(device->fullName, "");
}

// ---- the object's life ----

TEST(Object, AnswersEveryOperationBeforeAnyPrepare) {
  const Object object = makeObject();
  SttVersion version = {7, 7};
  EXPECT_EQ(object->GetVersion(&version), VORIN_STATUS_OK);
  EXPECT_EQ(version.major, 0);
  EXPECT_EQ(version.minor, 5);
  std::int32_t value = 0;
  EXPECT_EQ(object->GetConfig(nullptr, SttCfgStyleType, &value), VORIN_STATUS_OK);
  EXPECT_EQ(value, -1);
  EXPECT_EQ(object->SetConfig(nullptr, 6, &value), VORIN_STATUS_INVALID_PARAM);
  EXPECT_EQ(object->GetConfig(nullptr, SttCfgModelPath, &value), VORIN_STATUS_INVALID_PARAM);
  EXPECT_EQ(object->SyncOperation(nullptr), VORIN_STATUS_OK);
  EXPECT_EQ(object->Stop(nullptr), VORIN_STATUS_OK);
  EXPECT_EQ(object->DestroyContext(nullptr), VORIN_STATUS_OK);
  EXPECT_EQ(object->DestroyDevice(nullptr), VORIN_STATUS_OK);
  EXPECT_EQ(SttFactory::Destroy(nullptr), VORIN_STATUS_OK);
}

TEST(Object, LogsItsWay) {
  const LogSetting setting(3);
  DebuggerOutput log;
  Object object = makeObject();
  object->SyncOperation(nullptr);
  object->Stop(nullptr);
  object.reset();
  EXPECT_EQ(linesOf(log.take()),
            (std::vector<std::string>{"[I] Create StyleTransfer object", "[V] enter StyleTransfer::SyncOperation",
                                      "[V] exit StyleTransfer::SyncOperation", "[V] enter StyleTransfer::Stop",
                                      "[V] exit StyleTransfer::Stop", "[I] Destroy StyleTransfer object"}));
  // The file is closed before the last line.
  const std::vector<std::string> in_file = linesOf(tests::readText(setting.logFile()));
  ASSERT_FALSE(in_file.empty());
  EXPECT_EQ(in_file.back(), "[V] exit StyleTransfer::Stop");
}

TEST(Object, ClosesTheSharedLogFileForAll) {
  const LogSetting setting(2);
  const Object first = makeObject();
  Object second = makeObject();
  second->Stop(nullptr);
  second.reset();
  const std::string at_close = tests::readText(setting.logFile());
  EXPECT_THAT(at_close, HasSubstr("exit StyleTransfer::Stop"));
  first->SyncOperation(nullptr);
  EXPECT_EQ(tests::readText(setting.logFile()), at_close);
}

TEST(Prepare, ReportsEveryFailureAsOne) {
  const struct {
    std::int32_t style;
    const char* reason;
  } cases[] = {{-1, "[I] unkonwn type"}, {5, "[I] unkonwn type"}, {7, "[I] unkonwn type"}};
  for (const auto& test : cases) {
    const LogSetting setting(1);
    DebuggerOutput log;
    const Object object = makeObject();
    object->SetConfig(nullptr, SttCfgStyleType, &test.style);
    EXPECT_EQ(object->Prepare(nullptr), VORIN_STATUS_FAILED);
    EXPECT_EQ(linesOf(log.take()),
              (std::vector<std::string>{"[I] Create StyleTransfer object", "[V] enter StyleTransfer::Prepare", "[I] Init plugins",
                                        test.reason, "[E] init error"}));
  }
}

TEST(Prepare, OfAFilterSucceedsWhateverOpenClSays) {
  for (const std::int32_t style : {3, 4}) {
    const LogSetting setting(1);
    const Object object = makeObject();
    configureWithoutGpu(*object, style, 8, 8);
    DebuggerOutput log;
    EXPECT_EQ(object->Prepare(nullptr), VORIN_STATUS_OK);
    EXPECT_EQ(linesOf(log.take()), (std::vector<std::string>{"[V] enter StyleTransfer::Prepare", "[I] Init plugins",
                                                             "[I] Opencl platform init failed!", "[I] Init plugins, done",
                                                             "[V] exit StyleTransfer::Prepare"}));
  }
}

// ---- the C door ----

TEST(CDoor, ForwardsEachFunctionToItsOperation) {
  VorinSttHandle handle = nullptr;
  ASSERT_EQ(vorin_SttCreate(&handle), VORIN_STATUS_OK);
  SttVersion version = {7, 7};
  EXPECT_EQ(vorin_SttGetVersion(handle, &version), VORIN_STATUS_OK);
  EXPECT_EQ(version.minor, 5);
  std::int32_t count = -1;
  EXPECT_EQ(vorin_SttEnumDevice(handle, nullptr, &count), VORIN_STATUS_OK);
  EXPECT_EQ(count > 0, softGpu());
  const SttDeviceRequest request = {1, 0, "discrete"};
  SttDeviceRecord* device = nullptr;
  EXPECT_EQ(vorin_SttCreateDevice(handle, &request, &device), VORIN_STATUS_FAILED);
  EXPECT_STREQ(device->fullName, "discrete");
  VorinSttContext context = nullptr;
  EXPECT_EQ(vorin_SttCreateContext(handle, device, &context), VORIN_STATUS_OK);
  EXPECT_EQ(context, *reinterpret_cast<void**>(handle)); // the cell's only content is the object
  std::int32_t value = 12;
  EXPECT_EQ(vorin_SttSetConfig(handle, context, SttCfgWidth, &value), VORIN_STATUS_OK);
  EXPECT_EQ(vorin_SttSetConfig(handle, context, 6, &value), VORIN_STATUS_INVALID_PARAM);
  value = 0;
  EXPECT_EQ(vorin_SttGetConfig(handle, context, SttCfgWidth, &value), VORIN_STATUS_OK);
  EXPECT_EQ(value, 12);
  EXPECT_EQ(vorin_SttPrepare(handle, context), VORIN_STATUS_FAILED);
  std::uint8_t pixel[4] = {};
  const SttFrame input = {1, pixel, VORIN_FMT_BGRA, 1, 1, 4};
  SttFrame output = {0, pixel, VORIN_FMT_BGRA, 0, 0, 4};
  EXPECT_EQ(vorin_SttProcessFrame(handle, context, &input, nullptr, &output), VORIN_STATUS_UNSUPPORTED);
  EXPECT_EQ(vorin_SttSyncOperation(handle, context), VORIN_STATUS_OK);
  EXPECT_EQ(vorin_SttStop(handle, context), VORIN_STATUS_OK);
  EXPECT_EQ(vorin_SttDestroyContext(handle, context), VORIN_STATUS_OK);
  EXPECT_EQ(vorin_SttDestroyDevice(handle, device), VORIN_STATUS_OK);
  EXPECT_EQ(vorin_SttDestroy(handle), VORIN_STATUS_OK);
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
  EXPECT_THAT(tests::readText(setting.logFile()), HasSubstr("exit StyleTransfer::Stop"));
}

} // namespace
} // namespace vorin
