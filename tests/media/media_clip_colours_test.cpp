// The colours of clips of every matrix and range: those that an effect sees, and those that it writes.
#include "picture_conversion.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/plain_colour.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

namespace vorin::media {
namespace {

using namespace tests;

constexpr Bgr kColour = {40, 70, 200}; // 0xC84628
constexpr Bgr kWritten = {190, 140, 30};

// ffmpeg's options for a clip of each matrix and range.
constexpr const char* kClips[] = {
    "-vf scale=out_color_matrix=bt601,format=yuv420p -colorspace smpte170m -color_range tv",
    "-vf scale=out_color_matrix=bt709,format=yuv420p -colorspace bt709 -color_trc bt709 -color_primaries bt709 -color_range tv",
    "-vf scale=out_color_matrix=bt709:out_range=pc,format=yuv420p -colorspace bt709 -color_range pc",
    "-vf scale=out_color_matrix=bt2020,format=yuv420p -colorspace bt2020nc -color_range tv"};

class ClipColours : public testing::TestWithParam<const char*> {};

TEST_P(ClipColours, TheEffectSeesAndPaintsBt601WhateverTheClipSays) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mp4";
  const fs::path output = folder.path() / "written.mp4";
  const fs::path kept_clip = folder.path() / "kept.mp4";
  ffmpeg(std::string("-f lavfi -i color=0xC84628:r=5:d=0.4:s=64x48 ") + GetParam() + " -c:v libx264 -qp 0 " + clip.string());
  const Yuv expected = videoYuv(kColour);
  const Yuv wanted = videoYuv(kWritten);

  FunctionEffect writer([&](Picture& picture) {
    std::uint8_t* bytes = picture.pixels();
    const std::size_t luma = picture.byteCount() / 3 * 2;
    // ffmpeg's own rounding on the way into the clip and ours: one step each.
    ASSERT_EQ(picture.layout(), PixelLayout::kNv12);
    ASSERT_NEAR(bytes[0], expected[0], 2);
    ASSERT_NEAR(bytes[luma], expected[1], 2);
    ASSERT_NEAR(bytes[luma + 1], expected[2], 2);
    for (std::size_t i = 0; i < picture.byteCount(); ++i) {
      bytes[i] = wanted[i < luma ? 0 : 1 + i % 2];
    }
  });
  restyle(clip, output, {.crf = 1}, &writer);
  restyle(clip, kept_clip, {.crf = 1});

  const std::string tags = "color_range,color_space,color_transfer,color_primaries";
  EXPECT_EQ(videoEntries(kept_clip, tags), videoEntries(clip, tags));
  const std::vector<int> before = middleColour(clip);
  const std::vector<int> kept = middleColour(kept_clip);
  const std::vector<int> written = middleColour(output);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(kept[i], before[i], 3); // two roundings and the codec, doubled by the way to red or blue
    EXPECT_NEAR(written[i], kWritten[2 - i], 4) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, ClipColours, testing::ValuesIn(kClips));

TEST(MediaColours, UntaggedClipsOfHdSizeCountAsBt709) {
  EXPECT_EQ(yuvColours({}, {1280, 720}).matrix, 1);
  EXPECT_EQ(yuvColours({}, {720, 576}).matrix, 6);
}

} // namespace
} // namespace vorin::media
