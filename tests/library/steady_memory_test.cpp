// A long video in every style: after the first frames the process must not grow any more. Real networks and real kernels, but
// small ones, so that a leak of one small allocation a frame stands out.
#include "pipeline/frame_pipeline.h"
#include "support/neural_reference.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

namespace vorin {
namespace {

using namespace tests;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kMemoryIsKeptBack = true; // AddressSanitizer holds on to freed memory
#else
constexpr bool kMemoryIsKeptBack = false;
#endif

class SteadyMemoryTest : public testing::TestWithParam<std::int32_t> {};

TEST_P(SteadyMemoryTest, AThousandFramesLeaveTheProcessAsTheFirstFiftyDid) {
  if (kMemoryIsKeptBack) {
    GTEST_SKIP() << "AddressSanitizer holds on to freed memory";
  }
  constexpr int kWidth = 64;
  constexpr int kHeight = 48;
  constexpr std::size_t kFrameBytes = std::size_t{4} * kWidth * kHeight;
  constexpr std::size_t kGrowthBytes = 2U << 20U;
  const TransferNetwork transfer{.width = kWidth, .height = kHeight};
  const TestPackage package(
      {twinFiles(kTransfer512, transfer), twinFiles(kLightGrey, FixedNetwork{}), networkFiles(kCartoon, FixedNetwork{})});
  StyleSettings settings;
  settings.style_type = GetParam();
  settings.style_index = 0;
  settings.width = kWidth + 2;
  settings.height = kHeight - 2;
  settings.model_folder = package.folder();

  FramePipeline pipeline;
  ASSERT_EQ(pipeline.initPlugins(settings), VORIN_STATUS_OK);
  Picture picture(kFrameBytes, 1);
  Picture result(2 * kFrameBytes);
  std::size_t resident_bytes = 0;
  for (int number = 0; number < 1000; ++number) {
    picture[static_cast<std::size_t>(number)] = static_cast<std::uint8_t>(number);
    const SttFrame input = frameOf(picture, {kWidth, kHeight}, VORIN_FMT_BGRA);
    SttFrame output = frameOf(result, {}, VORIN_FMT_NV12);
    output.pitch = kWidth + 16;
    ASSERT_EQ(pipeline.processFrame(settings, input, number % 3 == 0 ? &input : nullptr, output), VORIN_STATUS_OK);
    if (number == 50) {
      resident_bytes = residentBytes();
    }
  }
  ASSERT_GT(resident_bytes, 0U);
  EXPECT_LT(residentBytes(), resident_bytes + kGrowthBytes);
}

INSTANTIATE_TEST_SUITE_P(Styles, SteadyMemoryTest,
                         testing::Values(SttStyleTransfer, SttStyleLightGrey, SttStyleCartoon, SttStyleStippling,
                                         SttStylePencilSketch));

} // namespace
} // namespace vorin
