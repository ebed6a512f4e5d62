// In which order the filter engine makes its OpenCL handles and gives them back.
#include "gpufilters/gpu_filter_engine.h"
#include "support/opencl_test_layer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace vorin {
namespace {

using gpufilters::GpuFilterEngine;
using testing::ElementsAre;
using tests::OpenClCall;
using tests::OpenClTestLayer;

class GpuFilterHandles : public testing::Test {
protected:
  ~GpuFilterHandles() override { layer_.reset(); }

  OpenClTestLayer layer_;
};

// The names of the calls with their handles' makers, for the calls that create or release a handle.
std::vector<std::string> releases(const OpenClTestLayer& layer, std::size_t first_call) {
  std::vector<std::string> names;
  for (std::size_t i = first_call; i < layer.calls().size(); ++i) {
    if (layer.calls()[i].name().rfind("clRelease", 0) == 0) {
      names.emplace_back(layer.calls()[i].name());
    }
  }
  return names;
}

// The handles that the creations of a kind gave, in order.
std::vector<std::uint64_t> created(const OpenClTestLayer& layer, const char* function) {
  std::vector<std::uint64_t> handles;
  for (const OpenClCall& call : layer.calls()) {
    if (call.name() == function) {
      handles.push_back(call.handle);
    }
  }
  return handles;
}

TEST_F(GpuFilterHandles, ReleasesImagesFirstAndTheDeviceLast) {
  auto engine = std::make_unique<GpuFilterEngine>();
  engine->Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0);
  ASSERT_EQ(engine->PrepareStippling(8, 8), VORIN_STATUS_OK);
  ASSERT_EQ(engine->PreparePencilSketch(9, 9), VORIN_STATUS_OK);
  const std::vector<std::uint64_t> buffers = created(layer_, "clCreateBuffer"); // random X, random Y, weights
  const std::vector<std::uint64_t> images = created(layer_, "clCreateImage");   // a pair for each filter
  ASSERT_EQ(buffers.size(), 3u);
  ASSERT_EQ(images.size(), 4u);
  const std::size_t before = layer_.calls().size();
  engine.reset();
  EXPECT_THAT(releases(layer_, before),
              ElementsAre("clReleaseMemObject", "clReleaseMemObject", "clReleaseMemObject", "clReleaseMemObject",
                          "clReleaseMemObject", "clReleaseSampler", "clReleaseKernel", "clReleaseKernel", "clReleaseProgram",
                          "clReleaseCommandQueue", "clReleaseContext", "clReleaseDevice"));
  std::vector<std::uint64_t> memory_objects;
  for (std::size_t i = before; i < before + 5; ++i) {
    memory_objects.push_back(layer_.calls()[i].handle);
  }
  EXPECT_THAT(memory_objects, ElementsAre(images[3], images[2], buffers[2], buffers[1], buffers[0]));
}

// A size change never holds two generations of a device object.
TEST_F(GpuFilterHandles, ReleasesAHandleBeforeItsSuccessorIsMade) {
  GpuFilterEngine engine;
  engine.Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0);
  ASSERT_EQ(engine.PrepareStippling(8, 8), VORIN_STATUS_OK);
  const std::size_t before = layer_.calls().size();
  ASSERT_EQ(engine.PrepareStippling(70, 8), VORIN_STATUS_OK);
  std::vector<std::string> names;
  for (std::size_t i = before; i < layer_.calls().size(); ++i) {
    names.emplace_back(layer_.calls()[i].name());
  }
  EXPECT_THAT(names, ElementsAre("clReleaseMemObject", "clCreateBuffer", "clReleaseMemObject", "clCreateBuffer",
                                 "clReleaseMemObject", "clCreateImage", "clEnqueueFillImage", "clReleaseMemObject",
                                 "clCreateImage", "clEnqueueFillImage", "clEnqueueWriteBuffer", "clEnqueueWriteBuffer"));
}

// A later attempt replaces what a failed one left.
TEST_F(GpuFilterHandles, ReplacesTheHandlesOfAFailedAttempt) {
  layer_.fail("clCreateKernel", CL_OUT_OF_RESOURCES, 1, 1);
  GpuFilterEngine engine;
  engine.Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0);
  const std::size_t before = layer_.calls().size();
  engine.Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0);
  const std::vector<std::string> names = releases(layer_, before);
  EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseContext"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseCommandQueue"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseProgram"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseKernel"), 2); // the new ones, which found their names taken
}

} // namespace
} // namespace vorin
