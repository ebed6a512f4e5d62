// The filter engine's set-up: which platform and device it takes, the work-group edge, what a failed set-up says and leaves
// behind, and in which order handles are made and given back. Platforms and faults come from the tests' OpenCL layer; the work is
// done by a real device.
#include "support/log_lines.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_test_layer.h"

#include <gmock/gmock.h>

#include <map>

namespace vorin {
namespace {

using namespace tests;
using gpufilters::GpuFilterEngine;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNoPlatform = "[I] Opencl platform init failed!";
constexpr bool kUnified = true;
constexpr bool kDedicated = false;

class GpuFilterSetUp : public testing::Test {
protected:
  ~GpuFilterSetUp() override { layer_.reset(); }

  // Sets an engine up and returns the log's lines.
  static std::vector<std::string> logOfInit(GpuFilterEngine& engine, std::int32_t device_kind = SttDeviceAnyGpu) {
    LogLines lines;
    init(engine, device_kind);
    return lines.take();
  }

  static bool init(GpuFilterEngine& engine, std::int32_t device_kind = SttDeviceAnyGpu) {
    engine.Init(device_kind, SttStyleStippling, 0, 0, 0);
    return engine.initialised();
  }

  OpenClTestLayer layer_;
  const Picture picture_{8, 8, 100};
  Picture output_{8, 8, 7};
};

constexpr int kNone = -1;

const struct {
  const char* name;
  std::vector<TestPlatform> platforms;
  std::int32_t device_kind;
  int chosen_platform; // whose first device is taken; kNone: no platform serves
} kSelections[] = {
    {"VendorWordMissing", {{"Acme Corporation", {{kUnified}}}}, 8, kNone},
    {"VendorWordInOtherCase", {{"MERIX merix", {{kUnified}}}}, 8, kNone},
    {"VendorWordWithinText", {{"The Merix(R) company", {{kUnified}}}}, 8, 0},
    {"PlatformWithoutDevicesIsPassed", {{"Merix", {}}, {"Merix", {{kUnified}}}}, 8, 1},
    {"IntegratedUnified", {{"Merix", {{kUnified}}}}, 0, 0},
    {"IntegratedDedicated", {{"Merix", {{kDedicated}}}}, 0, kNone},
    {"DiscreteUnified", {{"Merix", {{kUnified}}}}, 1, kNone},
    {"DiscreteDedicated", {{"Merix", {{kDedicated}}}}, 1, 0},
    {"AnyDedicated", {{"Merix", {{kDedicated}}}}, 8, 0},
    {"OtherKindUnified", {{"Merix", {{kUnified}}}}, 2, kNone},
    {"OtherKindDedicated", {{"Merix", {{kDedicated}}}}, -1, kNone},
    {"OnlyTheFirstGpuCounts", {{"Merix", {{kDedicated}, {kUnified}}}}, 0, kNone},
    {"FirstSuitablePlatform",
     {{"Acme", {{kUnified}}}, {"Merix", {{kDedicated}}}, {"Merix", {{kUnified}}}, {"Merix", {{kUnified}}}},
     0,
     2},
    {"AnyTakesTheFirst", {{"Merix", {{kDedicated}, {kUnified}}}, {"Merix", {{kUnified}}}}, 8, 0},
};

TEST_F(GpuFilterSetUp, TakesTheFirstSuitablePlatformsFirstGpu) {
  for (const auto& selection : kSelections) {
    SCOPED_TRACE(selection.name);
    layer_.reset();
    layer_.setPlatforms(selection.platforms);
    GpuFilterEngine engine;
    const std::vector<std::string> lines = logOfInit(engine, selection.device_kind);
    const bool is_chosen = selection.chosen_platform != kNone;
    EXPECT_EQ(engine.initialised(), is_chosen);
    EXPECT_EQ(lines, is_chosen ? std::vector<std::string>() : std::vector<std::string>{kNoPlatform});
    EXPECT_EQ(layer_.countCalls("clCreateContext"), is_chosen ? 1 : 0);
    // The engine holds the chosen device. Every reference to a device that was only looked at is given back.
    std::map<const void*, int> held;
    for (const OpenClCall& call : layer_.calls()) {
      held[call.handle] += call.name == "clRetainDevice" ? 1 : call.name == "clReleaseDevice" ? -1 : 0;
    }
    std::erase_if(held, [](const auto& device) { return device.second == 0; });
    EXPECT_EQ(held.size(), is_chosen ? 1 : 0);
    EXPECT_TRUE(!is_chosen || held[layer_.deviceHandle(static_cast<std::size_t>(selection.chosen_platform), 0)] == 1);
  }
}

// Every attempt starts from the edge that a failed one left, which comes to the same edge again.
TEST_F(GpuFilterSetUp, HalvesTheSmallestPowerOfTwoWhoseSquareReachesTheLargestWorkGroup) {
  constexpr std::pair<std::size_t, std::int32_t> kEdges[] = {{1, 0},   {2, 1},    {4, 1},    {5, 2},     {64, 4},    {255, 8},
                                                             {256, 8}, {257, 16}, {512, 16}, {1024, 16}, {4096, 32}, {8192, 64}};
  for (const auto& [max_work_group_items, edge] : kEdges) {
    SCOPED_TRACE(max_work_group_items);
    layer_.reset();
    layer_.setPlatforms({{"Merix", {{kUnified, max_work_group_items}}}});
    layer_.fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 0, 1);
    GpuFilterEngine engine;
    EXPECT_EQ(engine.workGroupEdge(), 1);
    for (const bool succeeds : {false, true}) {
      EXPECT_EQ(init(engine), succeeds);
      EXPECT_EQ(engine.workGroupEdge(), edge);
    }
  }
}

TEST_F(GpuFilterSetUp, PreparesNothingForAnEdgeOf0) {
  layer_.setPlatforms({{"Merix", {{kUnified, 1}}}});
  GpuFilterEngine engine;
  ASSERT_TRUE(init(engine));
  for (const Filter& filter : {kPencilSketch, kStippling}) {
    for (int time = 0; time < 2; ++time) {
      EXPECT_EQ((engine.*filter.prepare)(8, 8), VORIN_STATUS_FAILED);
      EXPECT_EQ((engine.*filter.run)(picture_.bytes.data(), output_.bytes.data()), VORIN_STATUS_FAILED);
    }
  }
}

TEST_F(GpuFilterSetUp, ReportsTheStepThatFails) {
  const struct {
    const char* function;
    const char* line;
    const char* not_called_after;
    std::int32_t code;
    int skip = 0;
  } cases[] = {{"clGetPlatformIDs", kNoPlatform, "clCreateContext", CL_OUT_OF_HOST_MEMORY},
               // The question for the largest work-group comes after that for the kind of memory.
               {"clGetDeviceInfo", kNoPlatform, "clCreateContext", CL_OUT_OF_RESOURCES, 1},
               {"clBuildProgram", "[I] Opencl build kernel failed: -11!", "clCreateKernel", CL_BUILD_PROGRAM_FAILURE},
               // Without a context there is no program either, which is noticed.
               {"clCreateContext", "[I] Opencl build kernel failed: -44!", "clCreateKernel", CL_OUT_OF_HOST_MEMORY}};
  for (const auto& each : cases) {
    layer_.reset();
    layer_.fail(each.function, each.code, each.skip, 1);
    GpuFilterEngine engine;
    EXPECT_THAT(logOfInit(engine), ElementsAre(each.line));
    EXPECT_FALSE(engine.initialised());
    EXPECT_EQ(layer_.countCalls(each.not_called_after), 0);
    EXPECT_TRUE(init(engine)); // and may be tried again
  }
}

TEST_F(GpuFilterSetUp, ReportsASecondKernelThatCannotBeMadeAndKeepsItsEntry) {
  layer_.fail("clCreateKernel", CL_INVALID_KERNEL_NAME, 1, 1);
  GpuFilterEngine engine;
  EXPECT_THAT(logOfInit(engine), ElementsAre("[I] Opencl open kernel failed!"));
  EXPECT_FALSE(engine.initialised());
  EXPECT_EQ(layer_.countCalls("clCreateSampler"), 0);
  // The next attempt makes both kernels, but what is in the table stays: the pencil sketch remains without one.
  EXPECT_TRUE(init(engine));
  engine.PreparePencilSketch(8, 8);
  LogLines lines;
  EXPECT_EQ(engine.RunPencilSketch(picture_.bytes.data(), output_.bytes.data()), VORIN_STATUS_FAILED);
  EXPECT_THAT(lines.take(), ElementsAre("[I] Opencl failed! -48")); // CL_INVALID_KERNEL
}

// A creation whose error is not examined lets Init succeed; frames show it.
TEST_F(GpuFilterSetUp, GoesOnWhereACreationFailsThatIsNotExamined) {
  for (const char* const function : {"clCreateCommandQueue", "clCreateKernel", "clCreateSampler"}) {
    SCOPED_TRACE(function);
    layer_.reset();
    layer_.fail(function, CL_OUT_OF_RESOURCES, 0, 1);
    GpuFilterEngine engine;
    EXPECT_THAT(logOfInit(engine), IsEmpty());
    EXPECT_TRUE(engine.initialised());
    engine.PrepareStippling(8, 8);
    EXPECT_EQ(engine.RunStippling(picture_.bytes.data(), output_.bytes.data()), VORIN_STATUS_FAILED);
  }
}

// Each creation has its release, also of an attempt that failed and of sizes that were left.
TEST_F(GpuFilterSetUp, LeaksNoHandle) {
  layer_.fail("clCreateKernel", CL_OUT_OF_RESOURCES, 1, 1);
  {
    GpuFilterEngine engine;
    EXPECT_FALSE(init(engine));
    EXPECT_TRUE(init(engine));
    for (const std::int32_t size : {8, 9, 70}) {
      ASSERT_EQ(engine.PrepareStippling(size, 8), VORIN_STATUS_OK);
      ASSERT_EQ(engine.PreparePencilSketch(8, size), VORIN_STATUS_OK);
    }
  }
  std::map<const void*, int> references;
  for (const OpenClCall& call : layer_.calls()) {
    if (call.handle != nullptr && (call.name.starts_with("clCreate") || call.name.starts_with("clRetain"))) {
      ++references[call.handle];
    } else if (call.name.starts_with("clRelease")) {
      --references[call.handle];
    }
  }
  EXPECT_GT(references.size(), 8u);
  EXPECT_THAT(references, testing::Each(testing::Pair(testing::_, 0)));
}

} // namespace
} // namespace vorin
