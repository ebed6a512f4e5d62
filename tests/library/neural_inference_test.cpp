// Frames through a loaded engine: what the network sees of them, what the engine writes into them, and in which order of frames.
// The networks hand their input on, so their output shows it.
#include "neural/neural_engine.h"
#include "support/guarded_buffer.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

namespace vorin::neural {
namespace {

using namespace tests;

constexpr int kWidth = 37;
constexpr int kHeight = 21;

// Frames are converted through 16-bit floats, in which the constants are off by up to one part in 2048: of values up to 2.7 in
// all, with the mean's own rounding by up to 1/32 of a byte. Exchanging two colours' constants moves values by 0.2 and more.
constexpr double kTolerance = 0.004;

Planes planesOf(const ov::Tensor& tensor) {
  return {tensor.data<float>(), tensor.data<float>() + tensor.get_size()};
}

class NeuralInferenceTest : public testing::Test {
protected:
  // An engine of the style whose network's output is its frame.
  static void load(NeuralEngine& engine, std::int32_t style_type, bool style_first = false) {
    const FixedNetwork same{.width = kWidth, .height = kHeight};
    const TransferNetwork content{
        .width = kWidth, .height = kHeight, .style_width = 5, .style_height = 3, .style_gain = 0, .style_first = style_first};
    const TestPackage package({alikeTwins(kLightGrey, same), networkFiles(kCartoon, same), networkFiles(kTransfer540, content)});
    ASSERT_EQ(engine.load("GPU", style_type, 2, 0, 0, package.folder()), VORIN_STATUS_OK);
    if (style_type == SttStyleTransfer) {
      Picture grey(3, 128);
      ASSERT_EQ(engine.bindStyleImage(frameOf(grey, {1, 1})), VORIN_STATUS_OK);
    }
  }

  // The frame is the caller's memory, with a watched end.
  Planes infer(NeuralEngine& engine, const Picture& frame) {
    memory_ = GuardedBuffer(frame.size());
    std::copy(frame.begin(), frame.end(), memory_.data());
    Planes planes = planesOf(engine.infer(cv::Mat(kHeight, kWidth, CV_8UC3, memory_.data())));
    EXPECT_TRUE(memory_.guardIntact());
    return planes;
  }

  GuardedBuffer memory_{0};
};

Picture withBlackLastColumn(Picture picture) {
  for (std::size_t row = 0; row < kHeight; ++row) {
    std::fill_n(picture.begin() + static_cast<std::ptrdiff_t>(3 * ((row + 1) * kWidth - 1)), 3, std::uint8_t{0});
  }
  return picture;
}

TEST_F(NeuralInferenceTest, TheNetworksSeeEachColourByItsOwnConstants) {
  const Picture frame = randomPicture(kWidth, kHeight, 1); // 777 pixels: all bytes in all channels, but for bad luck
  for (const bool style_first : {false, true}) {
    NeuralEngine transfer;
    load(transfer, SttStyleTransfer, style_first);
    EXPECT_LT(greatestDifference(infer(transfer, frame), tests::planesOf(frame, contentValue)), kTolerance);
    EXPECT_EQ(memory_.content(), frame);
  }
  NeuralEngine grey;
  load(grey, SttStyleLightGrey);
  EXPECT_LT(greatestDifference(infer(grey, frame), tests::planesOf(frame, fixedStyleValue)), kTolerance);
  EXPECT_EQ(memory_.content(), frame);
}

TEST_F(NeuralInferenceTest, CartoonsGetABlackLastColumnInTheFrameItself) {
  const Picture frame = randomPicture(kWidth, kHeight, 2);
  const Picture black = withBlackLastColumn(frame);
  NeuralEngine cartoon;
  load(cartoon, SttStyleCartoon);
  // Converted to the network's own type, a 32-bit float.
  EXPECT_LT(greatestDifference(infer(cartoon, frame), tests::planesOf(black, fixedStyleValue)), 1e-6);
  EXPECT_EQ(memory_.content(), black);
}

TEST_F(NeuralInferenceTest, SmallMotionIsHeldBackInTheFrameItself) {
  NeuralEngine engine;
  load(engine, SttStyleTransfer);
  Picture frame = randomPicture(kWidth, kHeight, 3);
  Picture seen = frame; // the first frame is taken as it is
  infer(engine, frame);
  ASSERT_EQ(memory_.content(), frame);
  for (std::uint32_t number = 0; number < 12; ++number) {
    SCOPED_TRACE(number);
    frame = movedPicture(frame, number);
    seen = smoothedContent(frame, seen); // with what the network saw, not with what the camera gave
    EXPECT_LT(greatestDifference(infer(engine, frame), tests::planesOf(seen, contentValue)), kTolerance);
    EXPECT_EQ(memory_.content(), seen);
  }
}

TEST_F(NeuralInferenceTest, OtherSizesAreFittedToTheNetworkAndLeftAlone) {
  for (const std::int32_t style_type : {0, 1, 2}) {
    SCOPED_TRACE(style_type);
    NeuralEngine engine;
    load(engine, style_type);
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(kWidth, kHeight + 1), cv::Size(64, 48), cv::Size(9, 200)}) {
      Picture frame = randomPicture(size.width, size.height, 4);
      const Picture before = frame;
      const cv::Mat image(size, CV_8UC3, frame.data());
      Picture expected = resizedPicture(frame, size, cv::Size(kWidth, kHeight));
      if (style_type == SttStyleCartoon) {
        expected = withBlackLastColumn(expected);
      }
      NeuralEngine fresh; // one that has not seen a frame, so that nothing is smoothed
      load(fresh, style_type);
      const Planes planes = planesOf(fresh.infer(image));
      const Planes wanted = tests::planesOf(expected, style_type == SttStyleTransfer ? contentValue : fixedStyleValue);
      EXPECT_LT(greatestDifference(planes, wanted), kTolerance) << size;
      EXPECT_EQ(frame, before);
      EXPECT_NO_THROW(engine.infer(image)); // sizes may change from frame to frame
    }
    EXPECT_THROW(engine.infer(cv::Mat()), cv::Exception);
  }
}

// The first load gets as far as the network's size, the second to the style.
TEST_F(NeuralInferenceTest, AnEngineOfAnUnsupportedStyleSaysSo) {
  const TestPackage package({networkFiles(kTransfer540, makeSum({"input_content", "no_style"}))});
  NeuralEngine engine;
  ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, package.folder()), VORIN_STATUS_FAILED);
  ASSERT_EQ(engine.load("GPU", 5, 2, 0, 0, package.folder()), VORIN_STATUS_UNKNOWN_TYPE);
  LogLines log;
  EXPECT_FALSE(engine.infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(1))));
  EXPECT_EQ(log.take(), std::vector<std::string>{"[E] error: unsupported style types"});
  removeUnpackedNetworkFiles();
}

} // namespace
} // namespace vorin::neural
