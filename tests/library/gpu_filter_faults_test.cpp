// What a frame costs, and what becomes of it when OpenCL calls fail: the calls of a frame are counted, and each of them is made
// to fail once and twice by the tests' OpenCL layer.
#include "support/guarded_buffer.h"
#include "support/log_lines.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_test_layer.h"

#include <gmock/gmock.h>

namespace vorin {
namespace {

using namespace tests;
using testing::ElementsAre;

constexpr const char* kUploadFailed = "[I] Opencl failed[enqueueWriteBuffer]!";

class GpuFilterFrame : public testing::TestWithParam<Filter> {
protected:
  GpuFilterFrame() { engine_.Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0); }
  ~GpuFilterFrame() override { layer_.reset(); }

  _VorinStatus prepare(std::int32_t width, std::int32_t height) { return (engine_.*GetParam().prepare)(width, height); }
  _VorinStatus run(std::uint8_t* output) { return (engine_.*GetParam().run)(picture_.bytes.data(), output); }

  // The calls since, but for those that only count references.
  std::vector<std::string> workSince(std::size_t first) const {
    std::vector<std::string> names = layer_.namesSince(first);
    std::erase_if(names, [](const std::string& name) { return name.starts_with("clRetain") || name.starts_with("clRelease"); });
    return names;
  }

  OpenClTestLayer layer_;
  gpufilters::GpuFilterEngine engine_;
  Picture picture_ = testPicture(37, 21, 53);
};

TEST_P(GpuFilterFrame, IsOneWriteOneLaunchAndOneRead) {
  ASSERT_EQ(prepare(37, 21), VORIN_STATUS_OK);
  GuardedBuffer output(picture_.bytes.size());
  for (int frame = 0; frame < 3; ++frame) {
    const std::size_t before = layer_.calls().size();
    EXPECT_EQ(prepare(37, 21), VORIN_STATUS_OK);
    EXPECT_EQ(run(output.data()), VORIN_STATUS_OK);
    std::vector<std::string> names = workSince(before);
    std::erase(names, "clSetKernelArg");
    EXPECT_THAT(names, ElementsAre("clEnqueueWriteImage", "clEnqueueNDRangeKernel", "clFinish", "clEnqueueReadImage"));
  }
  EXPECT_TRUE(output.guardIntact());
}

TEST_P(GpuFilterFrame, RepeatsAFailingStepOnceAndReportsTheRepetition) {
  std::vector<std::pair<std::string, int>> steps = {
      {"clEnqueueWriteImage", 0}, {"clEnqueueNDRangeKernel", 0}, {"clFinish", 0}, {"clEnqueueReadImage", 0}};
  for (int argument = 0; argument < GetParam().kernel_arguments; ++argument) {
    steps.emplace_back("clSetKernelArg", argument);
  }
  ASSERT_EQ(prepare(37, 21), VORIN_STATUS_OK);
  GuardedBuffer intact(picture_.bytes.size());
  ASSERT_EQ(run(intact.data()), VORIN_STATUS_OK);
  for (const auto& [function, skip] : steps) {
    for (const int failures : {1, 2, 3}) {
      SCOPED_TRACE(function + " " + std::to_string(skip) + ", failing times: " + std::to_string(failures));
      layer_.reset();
      layer_.fail(function, CL_OUT_OF_RESOURCES, skip, failures);
      GuardedBuffer output(picture_.bytes.size());
      {
        LogLines lines;
        EXPECT_EQ(run(output.data()), VORIN_STATUS_FAILED);
        EXPECT_THAT(lines.take(), ElementsAre(failures == 1 ? "[I] Opencl failed! 0" : "[I] Opencl failed! -5"));
      }
      EXPECT_EQ(layer_.countCalls(function), skip + 2);
      EXPECT_EQ(workSince(0).back(), function); // and nothing after it
      EXPECT_TRUE(output.untouched() || function == "clEnqueueReadImage");
      EXPECT_TRUE(output.guardIntact());
      // The failure is the frame's alone: the next one is drawn as ever.
      layer_.reset();
      EXPECT_EQ(run(output.data()), VORIN_STATUS_OK);
      EXPECT_EQ(output.content(), intact.content());
    }
  }
}

TEST_P(GpuFilterFrame, ReportsEachFailingUploadAndCountsTheSizeAsPrepared) {
  for (int table = 0; table < GetParam().tables; ++table) {
    layer_.reset();
    layer_.fail("clEnqueueWriteBuffer", CL_OUT_OF_RESOURCES, table, 1);
    LogLines lines;
    EXPECT_EQ(prepare(37 + table, 21), VORIN_STATUS_FAILED);
    EXPECT_THAT(lines.take(), ElementsAre(kUploadFailed));
    EXPECT_EQ(layer_.countCalls("clEnqueueWriteBuffer"), GetParam().tables); // the others go out all the same
    const std::size_t before = layer_.calls().size();
    EXPECT_EQ(prepare(37 + table, 21), VORIN_STATUS_OK);
    EXPECT_EQ(layer_.calls().size(), before);
  }
  EXPECT_EQ(prepare(36, 21), VORIN_STATUS_OK);
}

// Creations are not examined: a missing buffer shows when it is written, and both buffers and images in the frames that use them.
TEST_P(GpuFilterFrame, ShowsAMissingTableOrImageLater) {
  GuardedBuffer output(picture_.bytes.size());
  int height = 21;
  for (const auto& [function, count] : {std::pair("clCreateImage", 2), {"clCreateBuffer", GetParam().tables}}) {
    const bool is_image = std::string(function) == "clCreateImage";
    for (int index = 0; index < count; ++index) {
      layer_.reset();
      layer_.fail(function, CL_OUT_OF_RESOURCES, index, 1);
      LogLines lines;
      EXPECT_EQ(prepare(37, --height), is_image ? VORIN_STATUS_OK : VORIN_STATUS_FAILED);
      EXPECT_EQ(run(output.data()), VORIN_STATUS_FAILED);
      const std::vector<std::string> said = lines.take();
      EXPECT_EQ(said.back(), "[I] Opencl failed! -38"); // CL_INVALID_MEM_OBJECT
      EXPECT_EQ(said.front() == kUploadFailed, !is_image);
      EXPECT_EQ(prepare(37, --height), VORIN_STATUS_OK);
      EXPECT_EQ(run(output.data()), VORIN_STATUS_OK);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Filters, GpuFilterFrame, testing::Values(kPencilSketch, kStippling), nameOfFilter);

} // namespace
} // namespace vorin
