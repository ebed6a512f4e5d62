// Style images: how each pixel format reaches the network, how long an image stays in force, and what is refused. The network's
// output is its style input, so the output shows what was bound.
#include "neural/neural_engine.h"
#include "neural/style_normalisation.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/padded_image.h"
#include "support/plain_colour.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vorin::neural {
namespace {

using namespace tests;

constexpr int kWidth = 14;
constexpr int kHeight = 6;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

// The planes come from a table of floats rounded once, and pass the network unchanged.
constexpr double kExact = 1e-6;

class StyleImageInputTest : public testing::Test {
protected:
  // The style is the first input here and the second in other tests: it is found by its name.
  void SetUp() override {
    TransferNetwork style{.width = kWidth, .height = kHeight, .style_width = kWidth, .style_height = kHeight};
    style.content_gain = 0;
    style.style_first = true;
    const TestPackage package({networkFiles(kTransfer540, style)});
    ASSERT_EQ(engine_.load("GPU", SttStyleTransfer, 2, 0, 0, package.folder()), VORIN_STATUS_OK);
  }

  _VorinStatus bind(Picture bytes, std::uint32_t format, cv::Size size = {kWidth, kHeight}) {
    const Picture before = bytes;
    SttFrame frame = frameOf(bytes, size, format);
    frame.memoryType = 7; // neither is read
    frame.pitch = 999;
    const _VorinStatus status = engine_.bindStyleImage(frame);
    EXPECT_EQ(bytes, before);
    return status; // the image is gone when the network runs
  }

  // How far the network's style is from the picture's.
  double distanceTo(const Picture& picture) {
    const ov::Tensor output = engine_.infer(cv::Mat(kHeight, kWidth, CV_8UC3, cv::Scalar::all(50)));
    const Planes seen(output.data<float>(), output.data<float>() + output.get_size());
    return greatestDifference(seen, planesOf(picture, styleValue));
  }

  NeuralEngine engine_;
};

Picture redAndBlueExchanged(Picture picture) {
  for (std::size_t pixel = 0; pixel < picture.size(); pixel += 3) {
    std::swap(picture[pixel], picture[pixel + 2]);
  }
  return picture;
}

std::vector<std::uint8_t> withAlpha(const Picture& picture) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t pixel = 0; pixel < picture.size(); pixel += 3) {
    bytes.insert(bytes.end(), {picture[pixel], picture[pixel + 1], picture[pixel + 2], static_cast<std::uint8_t>(pixel)});
  }
  return bytes;
}

TEST_F(StyleImageInputTest, PackedFormatsArriveColourByColour) {
  const Picture picture = randomPicture(kWidth, kHeight, 1);
  for (const auto& [format, bytes] : {std::pair(VORIN_FMT_BGR24, picture), std::pair(VORIN_FMT_BGRA, withAlpha(picture)),
                                      std::pair(VORIN_FMT_RGBA, withAlpha(redAndBlueExchanged(picture)))}) {
    bind(Picture(picture.size()), VORIN_FMT_BGR24); // so that nothing stays of the image before
    ASSERT_EQ(bind(bytes, format), VORIN_STATUS_OK);
    EXPECT_LT(distanceTo(picture), kExact) << format;
  }
}

// Rounding to 8-bit YUV and back, and OpenCV's fixed-point matrices, move a byte by up to 2; 57 is the smallest deviation.
constexpr double kYuvTolerance = 2.01 / 57;

TEST_F(StyleImageInputTest, YuvFormatsArriveWithRedAndBlueExchanged) {
  const cv::Mat picture = blockPicture(kWidth, kHeight, 3);
  std::vector<std::uint8_t> nv12(kPixels * 3 / 2);
  std::vector<std::uint8_t> yuy2(kPixels * 2);
  Picture seen;
  for (std::size_t pixel = 0; pixel < kPixels; ++pixel) {
    const std::size_t x = pixel % kWidth;
    const std::size_t y = pixel / kWidth;
    const Yuv yuv = videoYuv(bgrAt(picture, static_cast<int>(x), static_cast<int>(y)));
    const Bgr bgr = fromVideoYuv(yuv);
    nv12[pixel] = yuv[0];
    std::copy_n(&yuv[1], 2, &nv12[kPixels + kWidth * (y / 2) + x / 2 * 2]);
    yuy2[2 * pixel] = yuv[0];
    yuy2[2 * pixel + 1] = yuv[1 + pixel % 2];
    seen.insert(seen.end(), bgr.rbegin(), bgr.rend());
  }
  for (const auto& [format, bytes] : {std::pair(VORIN_FMT_NV12, nv12), std::pair(VORIN_FMT_YUY2, yuy2)}) {
    bind(Picture(3 * kPixels), VORIN_FMT_BGR24);
    ASSERT_EQ(bind(bytes, format), VORIN_STATUS_OK);
    EXPECT_LT(distanceTo(seen), kYuvTolerance) << format;
  }
}

TEST_F(StyleImageInputTest, OtherSizesAreFittedToTheNetwork) {
  for (const cv::Size size : {cv::Size(1, 1), cv::Size(31, 17), cv::Size(kWidth, kHeight - 1), cv::Size(3, 90)}) {
    const Picture picture = randomPicture(size.width, size.height, 4);
    ASSERT_EQ(bind(withAlpha(picture), VORIN_FMT_BGRA, size), VORIN_STATUS_OK);
    EXPECT_LT(distanceTo(resizedPicture(picture, size, {kWidth, kHeight})), kExact) << size;
  }
}

TEST_F(StyleImageInputTest, AnImageStaysInForceUntilTheNext) {
  const Picture first = randomPicture(kWidth, kHeight, 5);
  const Picture second = randomPicture(kWidth, kHeight, 6);
  bind(first, VORIN_FMT_BGR24);
  for (int frame = 0; frame < 3; ++frame) {
    EXPECT_LT(distanceTo(first), kExact) << frame;
  }
  bind(second, VORIN_FMT_BGR24);
  EXPECT_LT(distanceTo(second), kExact);
  EXPECT_THROW(bind(first, 4), cv::Exception); // no such format
  EXPECT_THROW(bind(first, VORIN_FMT_BGR24, {0, 0}), cv::Exception);
  EXPECT_THROW(bind(Picture(500), VORIN_FMT_NV12, {7, 6}), cv::Exception); // no half pixels in 4:2:0
  EXPECT_LT(distanceTo(second), kExact);
}

// A network without a style input fails to load, but the engine knows its style and its inputs by then.
TEST(StyleImageInput, ANetworkWithoutAStyleInputIsTold) {
  const TestPackage package({networkFiles(kTransfer540, makeSum({"input_content"}))});
  NeuralEngine engine;
  ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, package.folder()), VORIN_STATUS_FAILED);
  Picture picture(3);
  LogLines log;
  EXPECT_THROW(engine.bindStyleImage(frameOf(picture, {1, 1})), cv::Exception);
  EXPECT_EQ(log.take(), std::vector<std::string>{"[E] input size should be 2"});
  removeUnpackedNetworkFiles();
}

// A second output is refused when the inputs are known. The buffer of the style image is then of this network's size.
TEST(StyleImageInput, NothingIsKeptOfANetworkThatFailedToLoad) {
  IrNetwork two_outputs = makeSum({"input_content", "input_style"});
  two_outputs.output(0);
  const TestPackage small({networkFiles(kTransfer540, two_outputs)});
  const TestPackage large({networkFiles(kTransfer540, TransferNetwork{.style_width = 400, .style_height = 300})});
  Picture picture(3);
  NeuralEngine engine;
  ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, small.folder()), VORIN_STATUS_FAILED);
  EXPECT_THROW(engine.bindStyleImage(frameOf(picture, {1, 1})), std::exception);
  ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, large.folder()), VORIN_STATUS_OK);
  EXPECT_EQ(engine.bindStyleImage(frameOf(picture, {1, 1})), VORIN_STATUS_OK);
  EXPECT_NO_THROW(engine.infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(1))));
}

// The style image as the network takes it, against the formula computed in double precision: equal floats. Every byte in every
// plane, and odd sizes; all with padded rows and a watched end.
TEST(StyleNormalisation, GivesTheFormulasFloats) {
  for (const cv::Size size :
       {cv::Size(256, 3), cv::Size(1, 1), cv::Size(1, 7), cv::Size(7, 1), cv::Size(37, 5), cv::Size(131, 3)}) {
    PaddedImage padded(size.width, size.height, 5);
    Picture picture;
    for (int y = 0; y < size.height; ++y) {
      for (int byte = 0; byte < 3 * size.width; ++byte) {
        picture.push_back(static_cast<std::uint8_t>(byte / 3 + 85 * (y + byte % 3)));
        padded.image().ptr(y)[byte] = picture.back();
      }
    }
    const Planes expected = planesOf(picture, styleValue);
    GuardedBuffer planes(expected.size() * sizeof(float));
    normaliseStyle(padded.image(), reinterpret_cast<float*>(planes.data()));
    EXPECT_EQ(std::memcmp(planes.data(), expected.data(), planes.size()), 0) << size;
    EXPECT_TRUE(planes.guardIntact());
    EXPECT_TRUE(padded.surroundingsIntact());
  }
}

} // namespace
} // namespace vorin::neural
