// Conversions between host formats and engine images, against colour formulas written out in double precision. OpenCV computes in
// fixed point, so a converted byte may differ by 1 (by 2 from video-range YUV to colours, where it rounds the coefficients);
// moved bytes must be equal.
#include "pipeline/pixel_format.h"
#include "support/format_pictures.h"
#include "support/guarded_buffer.h"
#include "support/log_lines.h"
#include "support/plain_colour.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <functional>

namespace vorin {
namespace {

using namespace tests;

// The bytes of a frame that is converted first and resized after.
TEST(NeuralInput, LargerFramesOfFourBytesComeAtTheNetworksSize) {
  struct Case {
    SttPixelFormat format;
    cv::Size frame;
    cv::Size network;
    bool is_resized;
  };
  for (const Case& each : {Case{VORIN_FMT_BGRA, {74, 46}, {37, 23}, true},
                           {VORIN_FMT_RGBA, {75, 41}, {33, 20}, true},
                           {VORIN_FMT_BGRA, {30, 20}, {60, 40}, false},
                           {VORIN_FMT_RGBA, {31, 21}, {}, false},
                           {VORIN_FMT_BGR24, {74, 46}, {37, 23}, false}}) {
    const int channels = each.format == VORIN_FMT_BGR24 ? 3 : 4;
    cv::Mat picture = blockPicture(each.frame.width, each.frame.height, channels);
    PixelFormatBuffers buffers;
    const cv::Mat input =
        hostToNeuralInput(frameOver(picture.data, each.format, each.frame.width, each.frame.height), buffers, each.network);
    cv::Mat expected(each.frame, CV_8UC3);
    for (int y = 0; y < each.frame.height; ++y) {
      for (int x = 0; x < each.frame.width; ++x) {
        for (int c = 0; c < 3; ++c) {
          const int host_channel = each.format == VORIN_FMT_RGBA ? 2 - c : c;
          expected.ptr(y)[3 * x + c] = picture.ptr(y)[channels * x + host_channel];
        }
      }
    }
    if (each.is_resized) {
      cv::Mat resized;
      cv::resize(expected, resized, each.network, 0.0, 0.0, cv::INTER_LINEAR);
      expected = resized;
    }
    ASSERT_EQ(input.size(), expected.size()) << "format " << each.format;
    ASSERT_EQ(input.type(), CV_8UC3);
    EXPECT_EQ(cv::norm(input, expected, cv::NORM_INF), 0.0) << "format " << each.format;
  }
}

TEST(FilterInput, BgraIsTheHostsOwnMemory) {
  std::vector<std::uint8_t> host(7 * 5 * 4);
  cv::Mat storage;
  const cv::Mat image = hostToFilterInput(frameOver(host.data(), VORIN_FMT_BGRA, 7, 5, 64), storage);
  EXPECT_EQ(image.data, host.data());
  EXPECT_EQ(image.size(), cv::Size(7, 5));
  EXPECT_EQ(image.type(), CV_8UC4);
  EXPECT_TRUE(storage.empty());
}

TEST(FilterInput, PackedFormatsAreReorderedAndTwentyFourBitsComeRedFirst) {
  constexpr int kWidth = 7;
  constexpr int kHeight = 5;
  const struct {
    SttPixelFormat format;
    int channels;
    std::array<int, 3> source; // which host byte becomes blue, green, red
  } cases[] = {{VORIN_FMT_RGBA, 4, {2, 1, 0}}, {VORIN_FMT_BGR24, 3, {2, 1, 0}}};
  for (const auto& test : cases) {
    cv::Mat host = blockPicture(kWidth, kHeight, test.channels);
    cv::Mat storage;
    const cv::Mat image = hostToFilterInput(frameOver(host.data, test.format, kWidth, kHeight), storage);
    ASSERT_EQ(image.size(), host.size());
    ASSERT_EQ(image.type(), CV_8UC4);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const std::uint8_t* source = host.ptr(y) + x * test.channels;
        const Bgr expected = {source[test.source[0]], source[test.source[1]], source[test.source[2]]};
        ASSERT_EQ(bgrAt(image, x, y), expected);
        ASSERT_EQ(image.ptr(y)[4 * x + 3], test.channels == 4 ? source[3] : 255);
      }
    }
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

TEST(FilterInput, UnknownFormatsGiveAnEmptyImage) {
  std::vector<std::uint8_t> host(64);
  for (const std::uint32_t format : {0U, 4U, 7U, 0xFFFFFFFFU}) {
    cv::Mat storage;
    EXPECT_TRUE(hostToFilterInput(frameOver(host.data(), static_cast<SttPixelFormat>(format), 2, 2), storage).empty());
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

class HostOutput : public OutputTest {};

INSTANTIATE_TEST_SUITE_P(Ways, HostOutput, kWays, nameOfWay);

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
    for (int index = 0; index < kWidth * kHeight; ++index) {
      const std::uint8_t* pixel = result.data + index * channels();
      const std::uint8_t* delivered = host.data() + index * test.channels;
      for (std::size_t c = 0; c < 3; ++c) {
        ASSERT_EQ(delivered[c], pixel[test.source[c]]) << "format " << test.format << ", pixel " << index;
      }
      if (test.channels == 4) {
        ASSERT_EQ(delivered[3], isNeural() ? 255 : pixel[3]);
      }
    }
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

TEST_P(HostOutput, OfNothingCopiesNothingInTheEnginesOwnFormatAndThrowsInTheOthers) {
  GuardedBuffer host(64);
  for (const SttPixelFormat format : {VORIN_FMT_BGR24, VORIN_FMT_BGRA, VORIN_FMT_RGBA, VORIN_FMT_YUY2, VORIN_FMT_NV12}) {
    SttFrame output = frameOver(host.data(), format, 3, 3, 8);
    if (format == (isNeural() ? VORIN_FMT_BGR24 : VORIN_FMT_BGRA)) {
      deliver(GetParam(), output, cv::Mat());
      EXPECT_EQ(output.width, 0U);
    } else {
      EXPECT_THROW(deliver(GetParam(), output, cv::Mat()), cv::Exception) << format;
      EXPECT_EQ(output.width, 3U);
    }
  }
  EXPECT_TRUE(host.untouched());
}

} // namespace
} // namespace vorin
