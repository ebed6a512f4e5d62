// Luma and chroma in YUY2 and NV12 outputs, both ways, against colour formulas written out in double precision. OpenCV computes
// in fixed point, so a byte may differ by 1.
#include "pipeline/chroma_packing.h"
#include "support/format_pictures.h"
#include "support/guarded_buffer.h"
#include "support/plain_colour.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorin {
namespace {

using namespace tests;

class ChromaOutput : public OutputTest {};

INSTANTIATE_TEST_SUITE_P(Ways, ChromaOutput, kWays, nameOfWay);

TEST_P(ChromaOutput, Yuy2TakesTheChromaOfEvenPixels) {
  for (const int width : {1, 2, 3, 16, 33, 50, 64}) {
    constexpr int kHeight = 3;
    cv::Mat result(kHeight, width, CV_8UC(channels()));
    cv::theRNG().state = 99;
    cv::randu(result, 0, 256);
    GuardedBuffer host(static_cast<std::size_t>(width * kHeight * 2));
    SttFrame output = frameOver(host.data(), VORIN_FMT_YUY2, 1, 1, 4096);
    deliver(GetParam(), output, result);
    EXPECT_TRUE(host.guardIntact());
    const auto yuvAt = [&](int x, int y) {
      Bgr colour = bgrAt(result, x, y);
      if (isNeural()) {
        std::swap(colour[0], colour[2]); // the neural way takes blue for red here
      }
      return fullYuv(colour);
    };
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* pair = host.data() + 2 * (y * width + x);
        expectNear(pair[0], yuvAt(x, y)[0], 1, "luma", x, y);
        expectNear(pair[1], x % 2 == 0 ? yuvAt(x, y)[1] : yuvAt(x - 1, y)[2], 1, "chroma", x, y);
      }
    }
  }
}

TEST_P(ChromaOutput, Nv12HonoursThePitchOnTheNeuralWayOnly) {
  constexpr int kWidth = 38;
  constexpr int kHeight = 22;
  constexpr int kPitch = 64;
  const cv::Mat result = blockPicture(kWidth, kHeight, channels());
  const int row_bytes = isNeural() ? kPitch : kWidth;
  GuardedBuffer host(static_cast<std::size_t>(row_bytes * kHeight * 3 / 2));
  SttFrame output = frameOver(host.data(), VORIN_FMT_NV12, 1, 1, kPitch);
  deliver(GetParam(), output, result);
  EXPECT_TRUE(host.guardIntact());
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Yuv expected = videoYuv(bgrAt(result, x, y));
      const std::uint8_t* pair = host.data() + row_bytes * (kHeight + y / 2) + x / 2 * 2;
      expectNear(host[static_cast<std::size_t>(y * row_bytes + x)], expected[0], 1, "luma", x, y);
      expectNear(pair[0], expected[1], 1, "U", x, y);
      expectNear(pair[1], expected[2], 1, "V", x, y);
    }
    for (int x = kWidth; x < row_bytes; ++x) {
      ASSERT_EQ(host[static_cast<std::size_t>(y * row_bytes + x)], 0xCD) << "padding of luma row " << y;
    }
  }
}

TEST(NeuralNv12Output, KeepsToAnyPitch) {
  constexpr int kWidth = 38;
  constexpr int kHeight = 4;
  const cv::Mat result = blockPicture(kWidth, kHeight, 3);
  const auto deliverWithPitch = [&](std::uint32_t pitch_bytes) {
    GuardedBuffer host(64 * kHeight * 3 / 2);
    SttFrame output = frameOver(host.data(), VORIN_FMT_NV12, 1, 1, static_cast<int>(pitch_bytes));
    deliver(Way::kNeural, output, result);
    EXPECT_TRUE(host.guardIntact());
    return host.content();
  };
  const std::vector<std::uint8_t> apart = deliverWithPitch(64);
  // With a pitch below the width rows overlap; each byte is that of the row written last.
  for (const std::uint32_t pitch_bytes : {0U, 20U}) {
    std::vector<std::uint8_t> expected(64 * kHeight * 3 / 2, 0xCD);
    for (std::size_t row = 0; row < kHeight * 3 / 2; ++row) {
      std::copy_n(apart.begin() + static_cast<std::ptrdiff_t>(64 * row), kWidth,
                  expected.begin() + static_cast<std::ptrdiff_t>(pitch_bytes * row));
    }
    EXPECT_EQ(deliverWithPitch(pitch_bytes), expected) << pitch_bytes;
  }
}

TEST_P(ChromaOutput, OddSizesInNv12ThrowAndWriteNothing) {
  for (const cv::Size size : {cv::Size(5, 4), cv::Size(4, 5)}) {
    GuardedBuffer host(64);
    SttFrame output = frameOver(host.data(), VORIN_FMT_NV12, 1, 2, 8);
    EXPECT_THROW(deliver(GetParam(), output, blockPicture(size.width, size.height, channels())), cv::Exception);
    EXPECT_TRUE(host.untouched());
    EXPECT_EQ(output.width, 1U);
  }
}

} // namespace
} // namespace vorin
