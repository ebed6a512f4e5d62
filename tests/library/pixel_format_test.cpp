// Conversions between host formats and engine images, against colour formulas in double precision. OpenCV computes in fixed
// point, so a converted byte may differ by 1, and by 2 from video-range YUV; moved bytes must be equal.
#include "pipeline/pixel_format.h"
#include "support/guarded_buffer.h"
#include "support/log_lines.h"
#include "support/plain_colour.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <functional>

namespace vorin {
namespace {

using namespace tests;

SttFrame frameOver(void* data, SttPixelFormat format, int width, int height, int pitch_bytes = 0) {
  const auto size = [](int number) { return static_cast<std::uint32_t>(number); };
  return {VORIN_MEM_SYSTEM, data, format, size(width), size(height), size(pitch_bytes)};
}

void expectNear(std::uint8_t actual, std::uint8_t expected, int tolerance, const char* what, int x, int y) {
  ASSERT_LE(std::abs(actual - expected), tolerance)
      << what << " at " << x << ", " << y << ": " << int{actual} << " instead of " << int{expected};
}

// source: which channel becomes the first, the second and the third.
void moveChannels(const cv::Mat& from, cv::Mat& to, const std::array<int, 3>& source, bool alpha_too) {
  cv::mixChannels({from}, {to}, {source[0], 0, source[1], 1, source[2], 2, alpha_too ? 3 : source[0], alpha_too ? 3 : 0});
}

enum class Way { kNeural, kFilter };

void deliver(Way way, SttFrame& output, const cv::Mat& result) {
  PixelFormatBuffers buffers;
  if (way == Way::kNeural) {
    neuralOutputToHost(output, result, buffers);
  } else {
    filterOutputToHost(output, result, buffers);
  }
}

// A neural frame of four bytes a pixel may be reduced on the way; its bytes are those of a frame that is converted first and
// resized after.
TEST(HostInput, PackedFormatsAreReorderedAndLargerFramesOfFourBytesComeAtTheNetworksSize) {
  const struct {
    Way way;
    SttPixelFormat format;
    cv::Size frame;
    std::array<int, 3> source; // which host byte becomes blue, green, red
    cv::Size network;
    bool is_resized;
  } cases[] = {{Way::kFilter, VORIN_FMT_BGRA, {7, 5}, {0, 1, 2}, {}, false},
               {Way::kFilter, VORIN_FMT_RGBA, {7, 5}, {2, 1, 0}, {}, false},
               {Way::kFilter, VORIN_FMT_BGR24, {7, 5}, {2, 1, 0}, {}, false}, // red first
               {Way::kNeural, VORIN_FMT_BGRA, {74, 46}, {0, 1, 2}, {37, 23}, true},
               {Way::kNeural, VORIN_FMT_RGBA, {75, 41}, {2, 1, 0}, {33, 20}, true},
               {Way::kNeural, VORIN_FMT_BGRA, {30, 20}, {0, 1, 2}, {60, 40}, false},
               {Way::kNeural, VORIN_FMT_RGBA, {31, 21}, {2, 1, 0}, {}, false},
               {Way::kNeural, VORIN_FMT_BGR24, {74, 46}, {0, 1, 2}, {37, 23}, false}};
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << "format " << each.format << ", neural " << (each.way == Way::kNeural));
    cv::Mat host = blockPicture(each.frame.width, each.frame.height, each.format == VORIN_FMT_BGR24 ? 3 : 4);
    const SttFrame frame = frameOver(host.data, each.format, host.cols, host.rows);
    cv::Mat storage;
    PixelFormatBuffers buffers;
    const bool is_filter = each.way == Way::kFilter;
    const cv::Mat image = is_filter ? hostToFilterInput(frame, storage) : hostToNeuralInput(frame, buffers, each.network);
    cv::Mat expected(each.frame, is_filter ? CV_8UC4 : CV_8UC3, cv::Scalar::all(255));
    moveChannels(host, expected, each.source, is_filter && host.channels() == 4);
    if (each.is_resized) {
      cv::resize(expected.clone(), expected, each.network, 0.0, 0.0, cv::INTER_LINEAR);
    }
    ASSERT_EQ(image.size(), expected.size());
    ASSERT_EQ(image.type(), expected.type());
    EXPECT_EQ(cv::norm(image, expected, cv::NORM_INF), 0.0);
  }
}

TEST(HostInput, VideoFormatsAreConvertedAndOnlyNv12OfANeuralStyleHonoursThePitch) {
  constexpr int kWidth = 38;
  constexpr int kHeight = 22;
  constexpr int kPitchBytes = 64;
  std::vector<std::uint8_t> host(kPitchBytes * kHeight * 2);
  std::mt19937 random(7);
  std::generate(host.begin(), host.end(), [&] { return static_cast<std::uint8_t>(16 + random() % 224); });
  const auto nv12At = [&](int x, int y, int row_bytes) {
    const std::uint8_t* pair = host.data() + row_bytes * (kHeight + y / 2) + x / 2 * 2;
    return Yuv{host[static_cast<std::size_t>(y * row_bytes + x)], pair[0], pair[1]};
  };
  const auto yuy2At = [&](int x, int y, int row_bytes) {
    const std::uint8_t* pair = host.data() + y * row_bytes + x / 2 * 4;
    return Yuv{pair[x % 2 * 2], pair[1], pair[3]};
  };
  const struct {
    Way way;
    SttPixelFormat format;
    std::function<Yuv(int, int, int)> at;
    int row_bytes;
  } cases[] = {{Way::kFilter, VORIN_FMT_NV12, nv12At, kWidth},
               {Way::kFilter, VORIN_FMT_YUY2, yuy2At, 2 * kWidth},
               {Way::kNeural, VORIN_FMT_NV12, nv12At, kPitchBytes},
               {Way::kNeural, VORIN_FMT_YUY2, yuy2At, 2 * kWidth}};
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::Message() << "format " << test.format << ", neural " << (test.way == Way::kNeural));
    cv::Mat storage;
    PixelFormatBuffers buffers;
    const SttFrame frame = frameOver(host.data(), test.format, kWidth, kHeight, kPitchBytes);
    const cv::Mat image = test.way == Way::kFilter ? hostToFilterInput(frame, storage) : hostToNeuralInput(frame, buffers);
    ASSERT_EQ(image.size(), cv::Size(kWidth, kHeight));
    ASSERT_EQ(image.type(), test.way == Way::kFilter ? CV_8UC4 : CV_8UC3);
    ASSERT_TRUE(image.isContinuous()); // the networks take packed rows
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const Bgr expected = fromVideoYuv(test.at(x, y, test.row_bytes));
        const std::uint8_t* pixel = image.ptr(y) + x * image.channels();
        for (std::size_t c = 0; c < 3; ++c) {
          expectNear(pixel[c], expected[c], 2, "colour", x, y);
        }
        ASSERT_TRUE(image.channels() == 3 || pixel[3] == 255);
      }
    }
  }
}

TEST(HostInput, Yuy2OfOddWidthThrows) {
  std::vector<std::uint8_t> host(64);
  cv::Mat storage;
  PixelFormatBuffers buffers;
  for (const int width : {1, 3, 5}) {
    const SttFrame frame = frameOver(host.data(), VORIN_FMT_YUY2, width, 4);
    EXPECT_THROW(hostToFilterInput(frame, storage), cv::Exception) << width;
    EXPECT_THROW(hostToNeuralInput(frame, buffers, cv::Size()), cv::Exception) << width;
  }
}

class HostOutput : public testing::TestWithParam<Way> {
protected:
  static bool isNeural() { return GetParam() == Way::kNeural; }
  static int channels() { return isNeural() ? 3 : 4; }
};

INSTANTIATE_TEST_SUITE_P(Ways, HostOutput, testing::Values(Way::kNeural, Way::kFilter));

TEST_P(HostOutput, PackedFormatsMoveBytes) {
  constexpr int kWidth = 37;
  constexpr int kHeight = 21;
  const cv::Mat result = blockPicture(kWidth, kHeight, channels());
  const struct {
    SttPixelFormat format;
    int channels;
    std::array<int, 3> source; // which of blue, green, red each byte takes
  } cases[] = {{VORIN_FMT_BGRA, 4, {0, 1, 2}},
               {VORIN_FMT_RGBA, 4, {2, 1, 0}},
               {VORIN_FMT_BGR24, 3, isNeural() ? std::array{0, 1, 2} : std::array{2, 1, 0}}}; // the filters got it exchanged
  for (const auto& test : cases) {
    GuardedBuffer host(static_cast<std::size_t>(kWidth * kHeight * test.channels));
    SttFrame output = frameOver(host.data(), test.format, 1, 1, 4096);
    deliver(GetParam(), output, result);
    EXPECT_TRUE(host.guardIntact());
    EXPECT_EQ(output.width, static_cast<std::uint32_t>(kWidth));
    EXPECT_EQ(output.height, static_cast<std::uint32_t>(kHeight));
    cv::Mat expected(kHeight, kWidth, CV_8UC(test.channels), cv::Scalar::all(255));
    moveChannels(result, expected, test.source, test.channels == 4 && !isNeural());
    EXPECT_EQ(cv::norm(cv::Mat(expected.size(), expected.type(), host.data()), expected, cv::NORM_INF), 0) << test.format;
  }
}

TEST_P(HostOutput, UnknownFormatsLeaveThePixelsAndTellTheSize) {
  for (const std::uint32_t format : {0U, 4U, 7U}) {
    GuardedBuffer host(256);
    SttFrame output = frameOver(host.data(), static_cast<SttPixelFormat>(format), 1, 1);
    LogLines log;
    deliver(GetParam(), output, blockPicture(6, 4, channels()));
    EXPECT_EQ(log.take(), std::vector<std::string>{"[E] invalid output format"});
    EXPECT_TRUE(host.untouched());
    EXPECT_EQ(output.width, 6U);
    EXPECT_EQ(output.height, 4U);
  }
}

TEST_P(HostOutput, Yuy2TakesTheChromaOfEvenPixels) {
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

TEST_P(HostOutput, Nv12HonoursThePitchOnTheNeuralWayOnly) {
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

// With a pitch below the width rows overlap; each byte is that of the row written last.
TEST(NeuralNv12Output, KeepsToAnyPitch) {
  constexpr int kWidth = 38;
  constexpr int kHeight = 4;
  const auto deliverWithPitch = [&](int pitch_bytes) {
    GuardedBuffer host(64 * kHeight * 3 / 2);
    SttFrame output = frameOver(host.data(), VORIN_FMT_NV12, 1, 1, pitch_bytes);
    deliver(Way::kNeural, output, blockPicture(kWidth, kHeight, 3));
    EXPECT_TRUE(host.guardIntact());
    return host.content();
  };
  const std::vector<std::uint8_t> apart = deliverWithPitch(64);
  for (const int pitch_bytes : {0, 20}) {
    std::vector<std::uint8_t> expected(apart.size(), 0xCD);
    for (int row = 0; row < kHeight * 3 / 2; ++row) {
      std::copy_n(apart.begin() + 64 * row, kWidth, expected.begin() + pitch_bytes * row);
    }
    EXPECT_EQ(deliverWithPitch(pitch_bytes), expected) << pitch_bytes;
  }
}

TEST_P(HostOutput, OddSizesInNv12ThrowAndWriteNothing) {
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
