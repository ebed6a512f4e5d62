// Style images: how each pixel format reaches the network, how long an image stays in force, and what is refused. The network's
// output is its style input, so the output shows what was bound.
#include "neural/neural_engine.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/plain_colour.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

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
  void SetUp() override { load(engine_, false); }

  static void load(NeuralEngine& engine, bool style_first) {
    const TransferNetwork style{.width = kWidth,
                                .height = kHeight,
                                .style_width = kWidth,
                                .style_height = kHeight,
                                .content_gain = 0,
                                .style_first = style_first};
    const TestPackage package({networkFiles(kTransfer540, style)});
    ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, package.folder()), VORIN_STATUS_OK);
  }

  _VorinStatus bind(std::vector<std::uint8_t> bytes, std::uint32_t format, int width = kWidth, int height = kHeight,
                    std::uint32_t pitch = 0) {
    const std::vector<std::uint8_t> before = bytes;
    const _VorinStatus status = engine_.bindStyleImage({.memoryType = 7, // not read
                                                        .data = bytes.data(),
                                                        .pixelFormat = format,
                                                        .width = static_cast<std::uint32_t>(width),
                                                        .height = static_cast<std::uint32_t>(height),
                                                        .pitch = pitch});
    EXPECT_EQ(bytes, before);
    return status; // the image is gone when the network runs
  }

  // What the network sees as its style.
  Planes style() { return styleOf(engine_); }

  static Planes styleOf(NeuralEngine& engine) {
    const ov::Tensor output = engine.infer(cv::Mat(kHeight, kWidth, CV_8UC3, cv::Scalar::all(50)));
    return {output.data<float>(), output.data<float>() + output.get_size()};
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
  const Planes expected = planesOf(picture, styleValue);
  ASSERT_EQ(bind(picture, VORIN_FMT_BGR24), VORIN_STATUS_OK);
  EXPECT_LT(greatestDifference(style(), expected), kExact);
  bind(Picture(picture.size()), VORIN_FMT_BGR24); // so that nothing stays of the image before
  ASSERT_EQ(bind(withAlpha(picture), VORIN_FMT_BGRA), VORIN_STATUS_OK);
  EXPECT_LT(greatestDifference(style(), expected), kExact);
  bind(Picture(picture.size()), VORIN_FMT_BGR24);
  ASSERT_EQ(bind(withAlpha(redAndBlueExchanged(picture)), VORIN_FMT_RGBA), VORIN_STATUS_OK);
  EXPECT_LT(greatestDifference(style(), expected), kExact);
}

// Blocks of 2 x 2 pixels of one colour, which subsampled chroma can hold.
std::vector<Bgr> blockColours() {
  std::vector<Bgr> colours = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}, {0, 0, 0}};
  const Picture more = randomPicture(kWidth / 2, kHeight / 2, 2);
  for (std::size_t block = colours.size(); block < kPixels / 4; ++block) {
    colours.push_back({more[3 * block], more[3 * block + 1], more[3 * block + 2]});
  }
  return colours;
}

std::size_t blockOf(std::size_t pixel) {
  return pixel / kWidth / 2 * (kWidth / 2) + pixel % kWidth / 2;
}

// Rounding to 8-bit YUV and back, and OpenCV's fixed-point matrices, move a byte by up to 2; 57 is the smallest deviation.
constexpr double kYuvTolerance = 2.01 / 57;

TEST_F(StyleImageInputTest, YuvFormatsArriveWithRedAndBlueExchanged) {
  const std::vector<Bgr> colours = blockColours();
  std::vector<std::uint8_t> nv12(kPixels * 3 / 2);
  std::vector<std::uint8_t> yuy2(kPixels * 2);
  Picture seen(3 * kPixels);
  for (std::size_t pixel = 0; pixel < kPixels; ++pixel) {
    const Yuv yuv = videoYuv(colours[blockOf(pixel)]);
    const Bgr bgr = fromVideoYuv(yuv);
    nv12[pixel] = yuv[0];
    nv12[kPixels + 2 * blockOf(pixel)] = yuv[1];
    nv12[kPixels + 2 * blockOf(pixel) + 1] = yuv[2];
    yuy2[2 * pixel] = yuv[0];
    yuy2[2 * pixel + 1] = yuv[1 + pixel % 2];
    seen[3 * pixel] = bgr[2];
    seen[3 * pixel + 1] = bgr[1];
    seen[3 * pixel + 2] = bgr[0];
  }
  const Planes expected = planesOf(seen, styleValue);
  ASSERT_EQ(bind(nv12, VORIN_FMT_NV12, kWidth, kHeight, 999), VORIN_STATUS_OK); // the pitch is not looked at
  EXPECT_LT(greatestDifference(style(), expected), kYuvTolerance);
  bind(Picture(3 * kPixels), VORIN_FMT_BGR24);
  ASSERT_EQ(bind(yuy2, VORIN_FMT_YUY2), VORIN_STATUS_OK);
  EXPECT_LT(greatestDifference(style(), expected), kYuvTolerance);
}

TEST_F(StyleImageInputTest, RowsAreTakenAsPackedWhateverThePitch) {
  const Picture picture = randomPicture(kWidth, kHeight, 3);
  ASSERT_EQ(bind(picture, VORIN_FMT_BGR24, kWidth, kHeight, 3 * kWidth + 22), VORIN_STATUS_OK);
  EXPECT_LT(greatestDifference(style(), planesOf(picture, styleValue)), kExact);
}

TEST_F(StyleImageInputTest, OtherSizesAreFittedToTheNetwork) {
  const Picture pixel = {10, 200, 90};
  ASSERT_EQ(bind(pixel, VORIN_FMT_BGR24, 1, 1), VORIN_STATUS_OK);
  Picture stretched;
  while (stretched.size() < 3 * kPixels) {
    stretched.insert(stretched.end(), pixel.begin(), pixel.end());
  }
  EXPECT_LT(greatestDifference(style(), planesOf(stretched, styleValue)), kExact);

  for (const cv::Size size : {cv::Size(31, 17), cv::Size(kWidth, kHeight - 1), cv::Size(3, 90)}) {
    const Picture picture = randomPicture(size.width, size.height, 4);
    ASSERT_EQ(bind(withAlpha(picture), VORIN_FMT_BGRA, size.width, size.height), VORIN_STATUS_OK);
    const Picture fitted = resizedPicture(picture, size, cv::Size(kWidth, kHeight));
    EXPECT_LT(greatestDifference(style(), planesOf(fitted, styleValue)), kExact) << size;
  }
}

TEST_F(StyleImageInputTest, AnImageStaysInForceUntilTheNext) {
  const Picture first = randomPicture(kWidth, kHeight, 5);
  const Picture second = randomPicture(kWidth, kHeight, 6);
  bind(first, VORIN_FMT_BGR24);
  for (int frame = 0; frame < 3; ++frame) {
    EXPECT_LT(greatestDifference(style(), planesOf(first, styleValue)), kExact) << frame;
  }
  bind(second, VORIN_FMT_BGR24);
  EXPECT_LT(greatestDifference(style(), planesOf(second, styleValue)), kExact);
  EXPECT_THROW(bind(first, 4), cv::Exception); // no such format
  EXPECT_THROW(bind(first, VORIN_FMT_BGR24, 0, 0), cv::Exception);
  EXPECT_THROW(bind(std::vector<std::uint8_t>(500), VORIN_FMT_NV12, 7, 6), cv::Exception); // no half pixels in 4:2:0
  EXPECT_LT(greatestDifference(style(), planesOf(second, styleValue)), kExact);
}

TEST_F(StyleImageInputTest, TheStyleInputIsFoundByItsName) {
  NeuralEngine other;
  load(other, true);
  Picture picture = randomPicture(kWidth, kHeight, 7);
  ASSERT_EQ(other.bindStyleImage({.memoryType = 0,
                                  .data = picture.data(),
                                  .pixelFormat = VORIN_FMT_BGR24,
                                  .width = kWidth,
                                  .height = kHeight,
                                  .pitch = 0}),
            VORIN_STATUS_OK);
  bind(Picture(picture.size()), VORIN_FMT_BGR24); // of another engine
  EXPECT_LT(greatestDifference(styleOf(other), planesOf(picture, styleValue)), kExact);
}

TEST(StyleImageInput, OtherStylesTakeNone) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{})});
  NeuralEngine fresh;
  NeuralEngine cartoon;
  ASSERT_EQ(cartoon.load("GPU", SttStyleCartoon, 0, 0, 0, package.folder()), VORIN_STATUS_OK);
  for (NeuralEngine* engine : {&fresh, &cartoon}) {
    LogLines log;
    EXPECT_EQ(engine->bindStyleImage({.memoryType = 0, .data = nullptr, .pixelFormat = 3, .width = 1, .height = 1, .pitch = 3}),
              VORIN_STATUS_INVALID_PARAM);
    EXPECT_TRUE(log.take().empty());
  }
  EXPECT_NO_THROW(cartoon.infer(cv::Mat(7, 13, CV_8UC3, cv::Scalar::all(1))));
}

// A network without a style input fails to load, but the engine knows its style and its inputs by then.
TEST(StyleImageInput, ANetworkWithoutAStyleInputIsTold) {
  const TestPackage package({networkFiles(kTransfer540, makeSum({"input_content"}))});
  NeuralEngine engine;
  ASSERT_EQ(engine.load("GPU", SttStyleTransfer, 2, 0, 0, package.folder()), VORIN_STATUS_FAILED);
  Picture picture(3);
  LogLines log;
  EXPECT_THROW(
      engine.bindStyleImage({.memoryType = 0, .data = picture.data(), .pixelFormat = 3, .width = 1, .height = 1, .pitch = 3}),
      cv::Exception);
  EXPECT_EQ(log.take(), std::vector<std::string>{"====== sdk: [E] input size should be 2"});
  removeUnpackedNetworkFiles();
}

} // namespace
} // namespace vorin::neural
