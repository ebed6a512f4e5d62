// Stippling against its plain computation: the kernel at every work-group edge a device may call for, and the engine at the
// device's own edge through sizes that need padding and sizes that need none.
#include "gpufilters/gpu_filter_engine.h"
#include "support/guarded_buffer.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_kernel_launch.h"
#include "support/opencl_pictures.h"

#include <gtest/gtest.h>

#include <utility>

namespace vorin {
namespace {

using gpufilters::GpuFilterEngine;
using tests::Displacement;
using tests::EdgeCounts;
using tests::GuardedBuffer;
using tests::kFilterRadius;
using tests::Picture;

class StipplingKernel : public testing::TestWithParam<int> {};

TEST_P(StipplingKernel, DrawsAsThePlainComputation) {
  const int edge = GetParam();
  tests::KernelLaunch launch;
  EdgeCounts counts;
  for (const auto& [width, height] : {std::pair{1, 1}, {edge, edge}, {edge + 1, 2 * edge}, {3, 5}, {83, 61}}) {
    const Picture picture = tests::testPicture(width, height, 37);
    std::vector<std::uint8_t> random_x;
    std::vector<std::uint8_t> random_y;
    for (std::uint32_t k = 0; k < tests::padded(picture, edge).bytes.size() / 4; ++k) {
      const Displacement displacement = tests::plainDisplacement(k, kFilterRadius);
      random_x.push_back(static_cast<std::uint8_t>(displacement.x));
      random_y.push_back(static_cast<std::uint8_t>(displacement.y));
    }
    for (const Picture& input : {picture, tests::mirrored(picture)}) {
      const GuardedBuffer output = launch.stippling(input, edge, random_x, random_y);
      EXPECT_TRUE(tests::isNearlyEqual(output.data(), tests::plainStippling(input, edge, &counts)));
      EXPECT_TRUE(output.guardIntact());
    }
  }
  EXPECT_GT(counts.weak, 100);
  EXPECT_GT(counts.middle, 100);
  EXPECT_GT(counts.strong, 100);
}

INSTANTIATE_TEST_SUITE_P(WorkGroupEdges, StipplingKernel, testing::Values(1, 2, 4, 8, 16, 32, 64));

class StipplingEngine : public testing::Test {
protected:
  void SetUp() override {
    engine_.Init(SttDeviceAnyGpu, SttStyleStippling, -1, 0, 0);
    ASSERT_TRUE(engine_.initialised());
  }

  // The engine's drawing of a picture, with its guard zone checked.
  std::vector<std::uint8_t> draw(const Picture& picture) {
    GuardedBuffer output(picture.bytes.size());
    EXPECT_EQ(engine_.PrepareStippling(picture.width, picture.height), VORIN_STATUS_OK);
    EXPECT_EQ(engine_.RunStippling(picture.bytes.data(), output.data()), VORIN_STATUS_OK);
    EXPECT_TRUE(output.guardIntact());
    return output.content();
  }

  GpuFilterEngine engine_;
};

TEST_F(StipplingEngine, DrawsAsThePlainComputationAtEverySize) {
  const int edge = engine_.workGroupEdge();
  for (const auto& [width, height] :
       {std::pair{1, 1}, {5, 3}, {edge, edge}, {edge + 1, edge - 1}, {2 * edge, 3 * edge}, {321, 243}}) {
    const Picture picture = tests::testPicture(width, height, 41);
    EXPECT_TRUE(tests::isNearlyEqual(draw(picture).data(), tests::plainStippling(picture, edge)));
    EXPECT_EQ(engine_.paddedWidth(), (width + edge - 1) / edge * edge);
    EXPECT_EQ(engine_.paddedHeight(), (height + edge - 1) / edge * edge);
  }
}

// With padding, the last real row and column count as interior and draw their neighbours from beyond the frame: always black,
// whatever a larger, white frame left in the device's memory.
TEST_F(StipplingEngine, PaddingIsBlackAfterAnyFrame) {
  const int edge = engine_.workGroupEdge();
  const Picture small = tests::plainPicture(edge + 1, edge + 1, 200);
  for (int repeat = 0; repeat < 3; ++repeat) {
    draw(tests::plainPicture(2 * edge, 2 * edge, 255));
    EXPECT_TRUE(tests::isNearlyEqual(draw(small).data(), tests::plainStippling(small, edge)));
  }
}

TEST_F(StipplingEngine, GivesTheSameBytesForTheSameFrame) {
  const Picture picture = tests::testPicture(75, 49, 43);
  const std::vector<std::uint8_t> first = draw(picture);
  EXPECT_EQ(draw(picture), first);
  draw(tests::testPicture(20, 90, 47));
  EXPECT_EQ(draw(picture), first);
}

} // namespace
} // namespace vorin
