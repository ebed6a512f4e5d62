// The pencil sketch against its plain computation: the kernel at every work-group edge a device may call for, and the engine at
// the device's own edge through sizes that need padding and sizes that need none.
#include "gpufilters/gpu_filter_engine.h"
#include "support/guarded_buffer.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_kernel_launch.h"
#include "support/opencl_pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace vorin {
namespace {

using gpufilters::GpuFilterEngine;
using tests::EdgeCounts;
using tests::GuardedBuffer;
using tests::kFilterRadius;
using tests::Picture;

class PencilSketchKernel : public testing::TestWithParam<int> {};

TEST_P(PencilSketchKernel, DrawsAsThePlainComputation) {
  const int edge = GetParam();
  tests::KernelLaunch launch;
  EdgeCounts counts;
  // Below an edge, one more than an edge, whole edges, and a size whose halves meet in the middle of a group.
  for (const auto& [width, height] : {std::pair{1, 1}, {edge, edge}, {edge + 1, 2 * edge}, {3, 5}, {83, 61}}) {
    const Picture picture = tests::testPicture(width, height, 17);
    for (const Picture& input : {picture, tests::mirrored(picture)}) {
      const GuardedBuffer output = launch.pencilSketch(input, edge, tests::plainWeights(kFilterRadius));
      EXPECT_TRUE(tests::isNearlyEqual(output.data(), tests::plainPencilSketch(input, &counts)));
      EXPECT_TRUE(output.guardIntact());
    }
  }
  EXPECT_GT(counts.weak, 100);
  EXPECT_GT(counts.middle, 100);
  EXPECT_GT(counts.strong, 100);
}

INSTANTIATE_TEST_SUITE_P(WorkGroupEdges, PencilSketchKernel, testing::Values(1, 2, 4, 8, 16, 32, 64));

// The kernel takes the radius from its arguments: a white area beside grey shows at a distance of 3 with the engine's radius, not
// with 1, and lies there beyond the edge filter's reach in both cases.
TEST(PencilSketchKernelRadius, IsTheArguments) {
  tests::KernelLaunch launch;
  const Picture grey = tests::plainPicture(40, 40, 128);
  Picture half_white = grey;
  for (int y = 0; y < grey.height; ++y) {
    std::fill_n(half_white.bytes.begin() + static_cast<std::ptrdiff_t>(grey.offset(20, y)), 20 * 4, std::uint8_t{255});
  }
  const std::size_t beside_white = grey.offset(17, 20);
  for (const int radius : {1, kFilterRadius}) {
    const std::vector<float> weights = tests::plainWeights(radius);
    const GuardedBuffer without_white = launch.pencilSketch(grey, 8, weights);
    const GuardedBuffer with_white = launch.pencilSketch(half_white, 8, weights);
    EXPECT_EQ(with_white[beside_white] != without_white[beside_white], radius == kFilterRadius) << "radius " << radius;
  }
}

class PencilSketchEngine : public testing::Test {
protected:
  void SetUp() override {
    engine_.Init(SttDeviceAnyGpu, SttStylePencilSketch, -1, 0, 0);
    ASSERT_TRUE(engine_.initialised());
  }

  // The engine's drawing of a picture, with its guard zone checked.
  std::vector<std::uint8_t> draw(const Picture& picture) {
    GuardedBuffer output(picture.bytes.size());
    EXPECT_EQ(engine_.PreparePencilSketch(picture.width, picture.height), VORIN_STATUS_OK);
    EXPECT_EQ(engine_.RunPencilSketch(picture.bytes.data(), output.data()), VORIN_STATUS_OK);
    EXPECT_TRUE(output.guardIntact());
    return output.content();
  }

  GpuFilterEngine engine_;
};

TEST_F(PencilSketchEngine, DrawsAsThePlainComputationAtEverySize) {
  const int edge = engine_.workGroupEdge();
  for (const auto& [width, height] :
       {std::pair{1, 1}, {5, 3}, {edge, edge}, {edge + 1, edge - 1}, {2 * edge, 3 * edge}, {321, 243}}) {
    const Picture picture = tests::testPicture(width, height, 23);
    for (const Picture& input : {picture, tests::mirrored(picture)}) {
      EXPECT_TRUE(tests::isNearlyEqual(draw(input).data(), tests::plainPencilSketch(input)));
    }
    EXPECT_EQ(engine_.paddedWidth(), (width + edge - 1) / edge * edge);
    EXPECT_EQ(engine_.paddedHeight(), (height + edge - 1) / edge * edge);
  }
}

// What lies in the padding, and what larger frames left in the device's memory, must not reach the frame's right and lower rims.
TEST_F(PencilSketchEngine, ReadsNothingBeyondTheFrame) {
  const int edge = engine_.workGroupEdge();
  const Picture small = tests::plainPicture(edge + 1, edge + 1, 200);
  for (int repeat = 0; repeat < 3; ++repeat) {
    draw(tests::plainPicture(2 * edge, 2 * edge, 255));
    EXPECT_TRUE(tests::isNearlyEqual(draw(small).data(), tests::plainPencilSketch(small)));
  }
}

TEST_F(PencilSketchEngine, GivesTheSameBytesForTheSameFrame) {
  const Picture picture = tests::testPicture(75, 49, 29);
  const std::vector<std::uint8_t> first = draw(picture);
  EXPECT_EQ(draw(picture), first);
  draw(tests::testPicture(20, 90, 31));
  EXPECT_EQ(draw(picture), first);
}

} // namespace
} // namespace vorin
