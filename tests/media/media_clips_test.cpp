// Clips read, changed by an effect and written; another program checks the results.
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <set>
#include <thread>

namespace vorin::media {
namespace {

using namespace tests;
using testing::HasSubstr;

const std::string kPictures = "-f lavfi -i testsrc2=s=320x240:r=25:d=2";
const std::string kWithSound = kPictures + " -f lavfi -i sine=d=2"; // with sound
const std::string kFast = " -c:v libx264 -preset ultrafast -crf 10 ";

struct ClipCase {
  const char* name;
  std::string arguments; // of ffmpeg, without the file
  const char* input = "in.mp4";
  const char* output = "out.mp4";
  double least_db = 36;
};

class KeptClip : public testing::TestWithParam<ClipCase> {
protected:
  TemporaryFolder folder_;
};

TEST_P(KeptClip, FramesTimesAndSoundAreTheSourcesAndThePicturesNearly) {
  const ClipCase& param = GetParam();
  const fs::path clip = folder_.path() / param.input;
  const fs::path output = folder_.path() / param.output;
  ffmpeg(param.arguments + ' ' + clip.string());
  const bool is_truncated = std::string(param.name) == "truncated";
  if (is_truncated) {
    fs::resize_file(clip, fs::file_size(clip) * 6 / 10);
  } else if (std::string(param.name) == "rotated") {
    fs::rename(clip, output);
    ffmpeg("-i " + output.string() + " -c copy -metadata:s:v:0 rotate=90 " + clip.string());
    fs::remove(output);
    ASSERT_THAT(videoEntries(clip, "width:stream_side_data=rotation"), HasSubstr("90"));
  }
  const RunResult outcome = restyle(clip, output);
  const std::vector<double> expected = frameTimes(clip);
  const std::vector<double> times = frameTimes(output);
  ASSERT_EQ(times.size(), expected.size());
  EXPECT_EQ(static_cast<std::size_t>(outcome.frames), expected.size());
  for (std::size_t i = 0; i < times.size(); ++i) {
    ASSERT_NEAR(times[i] - times[0], expected[i] - expected[0], 0.0011) << i; // Matroska counts in milliseconds
  }
  EXPECT_NEAR(soundDelay(output), soundDelay(clip), 0.0011);
  // A truncated clip's header names a longer duration.
  const double wanted_duration = is_truncated ? expected.back() - expected.front() : duration(clip);
  EXPECT_NEAR(duration(output), wanted_duration, 0.041); // one frame
  EXPECT_EQ(packetHashes(output, 'a'), packetHashes(clip, 'a'));
  EXPECT_EQ(packetHashes(output, 's'), packetHashes(clip, 's'));
  const std::string kept = "width,height,sample_aspect_ratio:stream_side_data=rotation";
  const std::string entries = videoEntries(output, kept);
  const std::string of_source = videoEntries(clip, kept);
  EXPECT_THAT(of_source, testing::AnyOf(entries, entries + "," + entries + ",")); // ffprobe reports those of a broadcast twice
  EXPECT_GE(peakSignalToNoise_db(output, clip), param.least_db);
  EXPECT_EQ(outcome.damage.empty(), !is_truncated);
  EXPECT_TRUE(outcome.warnings.empty()) << outcome.warnings.front();
  EXPECT_EQ(namesIn(folder_.path()), (std::set<std::string>{param.input, param.output}));
}

INSTANTIATE_TEST_SUITE_P(
    Clips, KeptClip,
    testing::Values(
        ClipCase{"plain", kWithSound + kFast + "-c:a aac"},
        ClipCase{"variable_rate", kWithSound + " -vf select=lt(n\\,12)+not(mod(n\\,7)) -vsync vfr" + kFast + "-c:a aac"},
        // The frame that is encoded second is a long one.
        ClipCase{"long_frame_first", kWithSound + " -vf select=lt(n\\,5)+gt(n\\,14) -vsync vfr" + kFast + "-c:a aac"},
        // Its header says where it ends, not how long it is.
        ClipCase{"late_start", kWithSound + kFast + "-c:a aac -output_ts_offset 5", "in.mkv", "out.mkv"},
        ClipCase{"odd_size", kWithSound + " -vf scale=161:121 -c:v libvpx-vp9 -pix_fmt yuv420p -cpu-used 8", "in.webm", "out.mkv",
                 33},
        ClipCase{"webm", kWithSound + " -c:v libvpx-vp9 -crf 20 -cpu-used 8 -c:a libopus", "in.webm", "out.webm", 33},
        ClipCase{"no_audio", kPictures + kFast + "-aspect 4:1", "in.mkv", "out.mov"},
        ClipCase{"few_long_frames", kPictures + " -vf select=not(mod(n\\,22)) -vsync vfr" + kFast},
        ClipCase{"two_audio_tracks",
                 kWithSound + " -f lavfi -i anoisesrc=d=2:a=0.1 -map 0 -map 1 -map 2" + kFast + "-c:a:0 aac -c:a:1 libmp3lame",
                 "in.mkv", "out.mp4"},
        ClipCase{"ten_bit", kWithSound + " -pix_fmt yuv420p10le" + kFast + "-c:a aac", "in.mov", "out.mp4"},
        ClipCase{"rotated", kWithSound + kFast + "-c:a aac"}, ClipCase{"one_frame", kPictures + kFast + "-frames:v 1"},
        ClipCase{"truncated", kWithSound + kFast + "-c:a aac -movflags faststart", "in.mp4", "out.mp4", 30},
        ClipCase{"broadcast", kWithSound + " -c:v mpeg2video -q:v 2 -c:a mp2", "in.ts", "out.mkv"},
        ClipCase{"full_range_bt709",
                 kWithSound + " -vf scale=out_color_matrix=bt709 -colorspace bt709 -c:v mjpeg -q:v 2 -c:a pcm_s16le", "in.avi",
                 "out.mkv", 34},
        ClipCase{"four_four_four", kPictures + " -pix_fmt yuv444p" + kFast, "in.mp4", "out.mp4", 30}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(MediaClips, CancellationClosesAFileThatPlays) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mp4";
  ffmpeg("-f lavfi -i testsrc2=s=320x240:r=25:d=20 -f lavfi -i sine=d=20" + kFast + "-c:a aac " + clip.string());
  std::set<std::string> names = {"in.mp4"};
  for (const std::string codec : {"h264", "h265", "vp9", "av1"}) { // some look ahead
    for (const int frames : {0, 1, 60}) {
      if (codec == "av1" && !kEncodesAv1) {
        continue;
      }
      std::atomic<bool> cancelled = frames == 0;
      const fs::path output = folder.path() / (codec + std::to_string(frames) + ".mp4");
      const auto cancel = [&](const Progress& progress) {
        cancelled = progress.frames_done == frames;
        EXPECT_EQ(progress.frames_expected, 500);
      };
      const RunResult result = restyle(clip, output, {.codec = codec}, nullptr, {}, {&cancelled, cancel});
      EXPECT_TRUE(result.cancelled);
      EXPECT_EQ(fs::exists(output), frames > 0) << output;
      const auto written = frames > 0 ? static_cast<int>(frameTimes(output).size()) : 0;
      EXPECT_EQ(result.frames, written) << output;
      EXPECT_GE(written, std::min(frames, 1)) << output;
      EXPECT_LE(written, frames) << output;
      if (frames > 0) {
        names.insert(output.filename().string());
      }
    }
  }
  EXPECT_EQ(namesIn(folder.path()), names);
}

// A sink that is slow for each picture, as an encoder may be.
struct SlowSink final : Sink {
  explicit SlowSink(Size size) : size_(size) {}
  Size size() const override { return size_; }
  void write(Frame&&) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ++pictures_;
  }
  void write(Packet&&) override {}
  void finish() override { ADD_FAILURE() << "a cancelled run is no whole one"; }
  std::int64_t finishEarly() override { return pictures_; }

  Size size_;
  std::int64_t pictures_ = 0;
};

// Four pictures wait for a slow encoder when the fifth is done: a user who cancels does not wait for them.
TEST(MediaClips, CancellationDropsWhatWouldTakeLong) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mp4";
  ffmpeg(kPictures + kFast + clip.string());
  const std::unique_ptr<Source> source = openSource(clip);
  SlowSink sink(source->info().size);
  std::atomic<bool> cancelled = false;
  const RunResult result =
      run(*source, sink, {}, {&cancelled, [&](const Progress& progress) { cancelled = progress.frames_done == 5; }});
  EXPECT_TRUE(result.cancelled);
  EXPECT_GE(result.frames, 1);
  EXPECT_LT(result.frames, 5);
}

// Two files behind each other are one clip of both, each of whose frames follows the one before by its usual time.
TEST(MediaClips, WhereTimeStampsStartAgainTheClipGoesOn) {
  const tests::TemporaryFolder folder;
  const fs::path output = folder.path() / "out.mp4";
  for (const std::string name : {"in.ts", "in.mkv", "in.mpg"}) {
    SCOPED_TRACE(name);
    const fs::path clip = folder.path() / name;
    ffmpeg(kWithSound + " -bf 2 " + clip.string());
    const std::string once = tests::readFile(clip);
    std::ofstream(clip, std::ios::binary) << once << once;
    fs::remove(output);
    EXPECT_THAT(restyle(clip, output).warnings,
                testing::ElementsAre(HasSubstr("has time stamps that start again or leap: at 2.0")));
    const std::vector<double> times = tests::frameTimes(output);
    ASSERT_EQ(times.size(), 100U);
    for (std::size_t frame = 1; frame < times.size(); ++frame) {
      EXPECT_NEAR(times[frame] - times[frame - 1], 0.04, frame == 50 ? 0.05 : 0.002) << frame; // the sound of a part is longer
    }
    EXPECT_NEAR(tests::duration(output), 4.05, 0.06);
  }
}

TEST(MediaClips, SubtitlesCoverAndChaptersStay) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mkv";
  std::ofstream(folder.path() / "words.srt") << "1\n00:00:00,500 --> 00:00:01,500\nA line.\n";
  std::ofstream(folder.path() / "chapters.txt")
      << ";FFMETADATA1\ntitle=A harbour\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=900\ntitle=Ships\n";
  ffmpeg(kPictures + " -i " + (folder.path() / "words.srt").string() + " -i " + (folder.path() / "chapters.txt").string() +
         " -map 0 -map 1 -map_metadata 2 -c:s srt" + kFast + clip.string());

  EXPECT_TRUE(restyle(clip, folder.path() / "out.mkv").warnings.empty());
  EXPECT_EQ(packetHashes(folder.path() / "out.mkv", 's'), packetHashes(clip, 's'));
  EXPECT_NE(packetHashes(clip, 's'), "");
  ffmpeg("-i " + (folder.path() / "out.mkv").string() + " -f ffmetadata " + (folder.path() / "read.txt").string());
  const std::string metadata = readFile(folder.path() / "read.txt");
  EXPECT_THAT(metadata, HasSubstr("title=A harbour"));
  EXPECT_THAT(metadata, HasSubstr("title=Ships"));

  // MP4 has no SubRip, Matroska no MOV text, WebM neither: the text takes another form.
  fs::path before = clip;
  for (const std::string name : {"one.mp4", "two.mkv", "three.webm"}) {
    EXPECT_THAT(restyle(before, folder.path() / name).warnings,
                testing::Contains(HasSubstr("cannot hold the clip's subtitles (")));
    before = folder.path() / name;
    ffmpeg("-i " + before.string() + " -c:s srt " + (folder.path() / "read.srt").string());
    EXPECT_EQ(readFile(folder.path() / "read.srt"), "1\n00:00:00,500 --> 00:00:01,500\nA line.\n\n") << name;
  }
  ffmpeg("-f lavfi -i testsrc2=s=32x32 -frames:v 1 " + (folder.path() / "cover.png").string());
  const fs::path covered = folder.path() / "covered.mp4";
  ffmpeg("-i " + before.string() + " -i " + (folder.path() / "cover.png").string() + " -map 0:v -map 1 -c:v:0" + kFast.substr(5) +
         "-c:v:1 copy -disposition:v:1 attached_pic " + covered.string());
  EXPECT_TRUE(
      restyle(covered, folder.path() / "part.mp4", {}, nullptr, {.start_s = 1}).warnings.empty()); // which keeps the cover
  EXPECT_TRUE(restyle(folder.path() / "part.mp4", folder.path() / "covered.mkv").warnings.empty());
  EXPECT_THAT(readFile(folder.path() / "covered.mkv"), HasSubstr("image/png")); // of the attached file
  ffmpeg("-i " + (folder.path() / "covered.mkv").string() + " -map 0:v:1 -c copy -f image2 " +
         (folder.path() / "read.png").string());
  EXPECT_TRUE(readFile(folder.path() / "read.png") == readFile(folder.path() / "cover.png"));
}

TEST(MediaClips, OtherCodecs) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mp4";
  ffmpeg("-f lavfi -i testsrc2=s=128x96:r=10:d=0.5" + kFast + clip.string());
  for (const auto& [codec, name] : {std::pair("h265", "hevc"), std::pair("vp9", "vp9"), std::pair("av1", "av1"),
                                    std::pair("mpeg4", "mpeg4"), std::pair("ffv1", "ffv1")}) {
    const fs::path output = folder.path() / (std::string(codec) + ".mkv");
    if (codec == std::string("av1") && !kEncodesAv1) {
      EXPECT_THAT(errorOf([&] { restyle(clip, output, {.codec = "av1"}); }).what(), HasSubstr("no encoder for --codec 'av1'"));
      continue;
    }
    restyle(clip, output, {.codec = codec});
    EXPECT_EQ(videoEntries(output, "codec_name"), name);
    EXPECT_EQ(frameTimes(output).size(), 5U);
    EXPECT_GE(peakSignalToNoise_db(output, clip), 30) << codec;
  }
}

class FailingClip : public testing::Test {
protected:
  FailingClip() {
    ffmpeg(kPictures + " -f lavfi -i anoisesrc=d=2" + kFast + "-c:a pcm_s16le " + clip_.string());
    before_ = namesIn(folder_.path());
  }

  // Returns the line of the failure, which leaves no file behind.
  std::string failure(const fs::path& clip, const fs::path& output, const SinkOptions& options = {}) {
    std::string line = errorOf([&] { restyle(clip, output, options); }).what();
    EXPECT_EQ(namesIn(folder_.path()), before_) << line;
    return line;
  }

  fs::path file(const std::string& name) const { return folder_.path() / name; }

  TemporaryFolder folder_;
  fs::path clip_ = folder_.path() / "in.mkv";
  std::set<std::string> before_;
};

TEST_F(FailingClip, EachSaysWhatIsWrong) {
  std::ofstream(file("text.mp4")) << "no clip at all\n";
  std::ofstream(file("list.m3u8")) << "#EXTM3U\n#EXTINF:2,\n" << clip_.string() << "\n#EXT-X-ENDLIST\n";
  ffmpeg("-f lavfi -i sine=d=1 " + file("sound.m4a").string());
  before_ = namesIn(folder_.path());

  const fs::path out = file("out.mkv");
  EXPECT_THAT(failure(file("missing.mp4"), out), HasSubstr("missing.mp4' does not exist"));
  EXPECT_THAT(failure(folder_.path(), out), HasSubstr("is a folder"));
  EXPECT_THAT(failure(file("text.mp4"), out), HasSubstr("is not a clip"));
  EXPECT_THAT(failure(file("list.m3u8"), out), HasSubstr("is not a clip"));
  EXPECT_THAT(failure(file("sound.m4a"), out), HasSubstr("holds no video"));
  EXPECT_THAT(failure(clip_, file("out.mp4"), {.sound = Sound::kCopy}),
              HasSubstr("sound (pcm_s16le) cannot go into a file of the kind mp4"));
  EXPECT_THAT(failure(clip_, file("out.avi")), HasSubstr("for a clip .mp4"));
  EXPECT_THAT(failure(clip_, file("nowhere") / "out.mkv"), HasSubstr("does not exist: make it first"));
  EXPECT_THAT(failure(clip_, clip_), HasSubstr("exists"));
  EXPECT_THAT(failure(clip_, out, {.codec = "h999"}), HasSubstr("no encoder for --codec 'h999'"));
  EXPECT_THAT(failure(clip_, out, {.crf = 99}), HasSubstr("--crf 99"));
  EXPECT_THAT(failure(clip_, out, {.codec = "mpeg4", .crf = 5}), HasSubstr("has no --crf"));
}

TEST_F(FailingClip, WhatAnEffectThrowsComesOut) {
  int frames = 0;
  FunctionEffect failing([&](Picture&) {
    if (++frames == 12) {
      throw std::domain_error("the device is gone");
    }
  });
  EXPECT_THROW(restyle(clip_, file("out.mkv"), {}, &failing), std::domain_error);
  EXPECT_EQ(namesIn(folder_.path()), before_);
}

} // namespace
} // namespace vorin::media
