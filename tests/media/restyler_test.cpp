// The restyler as a host uses it, on the software device.
#include "files.h"
#include "picture_mat.h"
#include "support/guarded_buffer.h"
#include "support/media_way.h"
#include "support/plain_colour.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace vorin::media {
namespace {

using namespace tests;
using testing::HasSubstr;

constexpr Size kSize = {38, 34}; // no side below the 32 at which networks work

// Of colours that every layout can hold.
Picture pairsOfNoise(Size size, std::uint32_t seed) {
  return pictureFromBgr(blockPicture(size.width, size.height, 3, seed) * 0.68 + cv::Scalar::all(40));
}

// The same picture in another layout, YUV by its definition.
Picture inLayout(const Picture& bgra, PixelLayout layout) {
  Picture picture(layout, bgra.size());
  const cv::Mat from = matOver(bgra);
  if (layout == PixelLayout::kBgra) {
    return bgra.copy();
  }
  if (layout == PixelLayout::kRgba || layout == PixelLayout::kBgr24) {
    cv::cvtColor(from, matOver(picture), layout == PixelLayout::kRgba ? cv::COLOR_BGRA2RGBA : cv::COLOR_BGRA2BGR);
    return picture;
  }
  for (int row = 0; row < from.rows; ++row) {
    std::uint8_t* to = picture.pixels() + picture.pitchBytes() * static_cast<std::size_t>(row);
    for (int column = 0; column < from.cols; ++column) {
      const Yuv yuv = videoYuv(bgrAt(from, column, row));
      if (layout == PixelLayout::kNv12) {
        to[column] = yuv[0];
        chromaOver(picture).at<cv::Vec2b>(row / 2, column / 2) = {yuv[1], yuv[2]};
      } else {
        to[column * 2] = yuv[0];
        to[column * 2 + 1] = yuv[1 + static_cast<std::size_t>(column % 2)];
      }
    }
  }
  return picture;
}

// A different gain for each network, so that results show which one ran.
class Restylers : public testing::Test {
protected:
  RestylerOptions options(Style style) const { return softwareOptions(style, package_.folder()); }

  TemporaryFolder folder_;
  TestPackage package_{
      {networkFiles(kCartoon, FixedNetwork{.gain = 0.8F}), alikeTwins(kLightGrey, FixedNetwork{.gain = -0.7F}),
       alikeTwins(kTransfer512, TransferNetwork{.width = 40, .height = 32, .content_gain = 0.6F, .style_gain = 0.3F})}};
};

std::vector<std::uint8_t> bytesOf(const Picture& picture) {
  return {picture.pixels(), picture.pixels() + picture.byteCount()};
}

// A step of rounding on each way between YUV and RGB, times the gain of a network and of the conversions.
constexpr double kYuvTolerance = 6;

TEST_F(Restylers, TakeAndGiveEveryLayoutInAnyPitchAndLeaveTheInputAsItIs) {
  const Picture input = pairsOfNoise(kSize, 1);
  for (const Style style : {Style::kCartoon, Style::kPencilSketch}) {
    Restyler restyler(options(style));
    const Picture expected = restyler.restyle(input);
    for (const PixelLayout layout :
         {PixelLayout::kBgra, PixelLayout::kRgba, PixelLayout::kBgr24, PixelLayout::kNv12, PixelLayout::kYuy2}) {
      const Picture other = inLayout(input, layout);
      const bool is_yuv = layout == PixelLayout::kNv12 || layout == PixelLayout::kYuy2;
      SCOPED_TRACE(static_cast<int>(layout) * 10 + static_cast<int>(style));
      const std::size_t pitch_bytes = other.rowBytes() + 12;
      GuardedBuffer in(pitch_bytes * other.rowCount());
      GuardedBuffer out(pitch_bytes * other.rowCount());
      for (std::size_t row = 0; row < other.rowCount(); ++row) {
        std::copy_n(other.pixels() + row * other.pitchBytes(), other.rowBytes(), in.data() + row * pitch_bytes);
      }
      const std::vector<std::uint8_t> before = in.content();
      Picture output = Picture::wrap(layout, kSize, out.data(), pitch_bytes);
      restyler.restyle(Picture::wrap(layout, kSize, std::as_const(in).data(), pitch_bytes), output);
      EXPECT_EQ(in.content(), before);
      EXPECT_TRUE(out.guardIntact());
      EXPECT_EQ(out[other.rowBytes()], 0xCD); // the padding between rows
      if (style == Style::kCartoon || !is_yuv) {
        const cv::Rect compared(0, 0, kSize.width - 2, kSize.height); // the library blackens the last column of cartoon
        EXPECT_LE(cv::norm(bgrOf(output.copy())(compared), bgrOf(expected)(compared), cv::NORM_INF), is_yuv ? kYuvTolerance : 0);
      }
    }
  }
}

// The network's answer is gain x (value - 127.5) / 127.5, put back the same way.
TEST_F(Restylers, ChangeTheirStyleSizeAndStyleImageBetweenFrames) {
  const Picture input = pairsOfNoise(kSize, 2);
  const auto scaled = [&](double gain) {
    cv::Mat expected;
    bgrOf(input).convertTo(expected, CV_8U, gain, 127.5 - gain * 127.5);
    return expected;
  };
  Restyler restyler(options(Style::kPencilSketch));
  const std::vector<std::uint8_t> pencil = bytesOf(restyler.restyle(input));
  EXPECT_EQ(restyler.report().network, "");
  restyler.setStyle(Style::kCartoon);
  EXPECT_LE(cv::norm(bgrOf(restyler.restyle(input))(cv::Rect(0, 0, 37, 34)), scaled(0.8)(cv::Rect(0, 0, 37, 34)), cv::NORM_INF),
            1);
  EXPECT_EQ(restyler.report().network, kCartoon);
  EXPECT_GT(restyler.report().load_ms, 0);
  EXPECT_THAT(restyler.report().device, HasSubstr("software device"));
  restyler.setSize(Size{20, 30});
  EXPECT_EQ(restyler.restyle(input).size(), (Size{20, 30}));
  restyler.setSize(std::nullopt);
  restyler.setStyle(Style::kPencilSketch);
  EXPECT_EQ(bytesOf(restyler.restyle(input)), pencil);

  restyler.setStyle(Style::kTransfer);
  restyler.setStyleImage(pairsOfNoise({40, 32}, 3));
  const std::vector<std::uint8_t> first = bytesOf(restyler.restyle(input));
  restyler.setStyleImage(pairsOfNoise({40, 32}, 4));
  Picture alike = input.copy(); // so little changed that the library takes it for noise
  std::transform(alike.pixels(), alike.pixels() + alike.byteCount(), alike.pixels(),
                 [](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ 4U); });
  EXPECT_NE(bytesOf(restyler.restyle(alike)), first);
  restyler.setStyleImage(pairsOfNoise({40, 32}, 3));
  restyler.startSequence(); // else the library smooths against the frame before
  EXPECT_EQ(bytesOf(restyler.restyle(input)), first);
}

TEST_F(Restylers, TurnEveryFaultIntoAnErrorThatSaysWhatToDo) {
  const Picture input = pairsOfNoise(kSize, 5);
  const auto expect = [](const std::function<void()>& call, ErrorKind kind, const std::string& text) {
    const Error error = errorOf(call);
    EXPECT_EQ(error.kind(), kind) << error.what();
    EXPECT_THAT(error.what(), HasSubstr(text));
  };
  RestylerOptions wrong = options(Style::kCartoon);
  wrong.network = "512";
  expect([&] { Restyler{wrong}; }, ErrorKind::kUsage, "has no network '512'");
  wrong = options(Style::kTransfer);
  wrong.network = "256";
  expect([&] { Restyler{wrong}; }, ErrorKind::kModel, "lacks");
  wrong.models = folder_.path() / "nowhere";
  expect([&] { Restyler{wrong}; }, ErrorKind::kModel, "is not a folder");
  Restyler transfer(options(Style::kTransfer));
  expect([&] { transfer.restyle(input); }, ErrorKind::kUsage, "needs a picture whose look to use");
  expect([&] { transfer.restyle({}); }, ErrorKind::kUsage, "a picture of 0x0 pixels");

  package_.write({networkFiles(kCartoon, FixedNetwork{.gain = 0})});
  Restyler blank(options(Style::kCartoon));
  expect([&] { blank.restyle(input); }, ErrorKind::kModel, "does not work on this device");
  package_.write({networkFiles(kCartoon, makeSum({"one", "two", "three"}))});
  Restyler unloadable(options(Style::kCartoon));
  expect([&] { unloadable.restyle(input); }, ErrorKind::kModel, "its network is not loaded");
  const std::filesystem::path file = std::filesystem::path(package_.folder()) / "model_st.bin";
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1); // the library would wait for the last byte
  expect([&] { unloadable.restyle(input); }, ErrorKind::kModel, "is not a complete model package");
}

TEST_F(Restylers, ASecondThreadGetsTheErrorAndTheFirstItsResult) {
  Restyler restyler(options(Style::kPencilSketch));
  const Picture input = pairsOfNoise({1600, 1200}, 6);
  restyler.prepare(input.size());
  std::atomic<bool> ends = false;
  std::thread first([&] {
    for (int frame = 0; frame < 20; ++frame) {
      EXPECT_NO_THROW(restyler.restyle(input));
    }
    ends = true;
  });
  int busy = 0;
  while (!ends) {
    // Between two frames of the other thread it may also succeed, and the other one then fails: only look.
    busy += errorOf([&] { restyler.setSize(std::nullopt); }).what() == std::string("no error") ? 0 : 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  first.join();
  EXPECT_GT(busy, 0);
}

// The lock under which networks are unpacked.
TEST(FileLock, IsHeldByOneAtATime) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "lock";
  std::atomic<bool> has_second = false;
  std::optional<base::FileLock> first(file);
  std::thread other([&] {
    const base::FileLock second(file);
    has_second = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(has_second);
  EXPECT_TRUE(base::FileLock(file, false).isTaken());
  first.reset();
  other.join();
  EXPECT_FALSE(base::FileLock(file, false).isTaken());
}

} // namespace
} // namespace vorin::media
