// The sound of clips: copied, encoded as AAC, left out, cut with the pictures; damaged packets.
#include "libav_support.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <limits>
#include <numeric>
#include <tuple>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using tests::ffmpeg;

const std::string kPictures = "-f lavfi -i testsrc2=s=64x48:r=25:d=2 -f lavfi ";

// The samples as ffmpeg decodes them, with silence where there are none.
std::vector<float> samplesOf(const fs::path& clip) {
  const tests::TemporaryFolder folder;
  const fs::path file = folder.path() / "samples";
  ffmpeg("-i " + clip.string() + " -vn -af aresample=44100:async=1:first_pts=0 -ac 1 -f f32le " + file.string());
  const std::string bytes = tests::readFile(file);
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

struct SoundCase {
  std::string input;  // of ffmpeg: the sound
  std::string coding; // of ffmpeg
  std::string name;
  std::string output;
  Sound sound;
  std::size_t warnings;
};

constexpr std::ptrdiff_t kMillisecond = 44; // in samples

// The sound is the same within a hundredth of its energy, and at the same time within a millisecond.
TEST(ClipSound, AsAacItIsHeardWhenItWas) {
  const std::string tone = "-i sine=d=2:r=44100";
  const std::vector<SoundCase> cases = {
      {tone, "-c:v wmv2 -c:a wmav2", "in.wmv", "out.mp4", Sound::kCopyOrAac, 1},
      {tone, "-c:v wmv2 -c:a wmav2", "in.wmv", "out.mkv", Sound::kCopyOrAac, 1},
      {tone, "-c:a flac", "in.mkv", "out.mp4", Sound::kCopyOrAac, 1},
      {tone, "-c:a pcm_s16le", "in.mkv", "out.mkv", Sound::kAac, 0},
      {tone + " -af aselect=not(between(t\\,0.8\\,1.3))", "-c:a pcm_s16le", "in.mkv", "out.mov", Sound::kAac, 0},
      {tone, "-c:a aac", "in.mp4", "out.webm", Sound::kCopyOrAac, 1},
      {tone + " -ac 2 -ar 22255", "-c:a pcm_s16le", "in.mkv", "out.mp4", Sound::kAac, 0},
  };
  for (const SoundCase& each : cases) {
    SCOPED_TRACE(each.coding + ' ' + each.output);
    const tests::TemporaryFolder folder;
    const fs::path clip = folder.path() / each.name;
    const fs::path output = folder.path() / each.output;
    ffmpeg(kPictures + each.input + ' ' + each.coding + ' ' + clip.string());
    EXPECT_EQ(restyle(clip, output, {.sound = each.sound}).warnings.size(), each.warnings);
    const std::vector<float> expected = samplesOf(clip);
    const std::vector<float> samples = samplesOf(output);
    ASSERT_GT(std::min(expected.size(), samples.size()), 82000U);
    double energy = 0;
    double least_difference = std::numeric_limits<double>::max();
    for (std::ptrdiff_t late = -kMillisecond; late <= kMillisecond; ++late) { // some containers count in milliseconds
      energy = 0;
      double difference = 0;
      for (std::ptrdiff_t i = 4000; i < 82000; ++i) { // AAC swings in and out
        const float wanted = expected[static_cast<std::size_t>(i)];
        const float heard = samples[static_cast<std::size_t>(i + late)];
        energy += wanted * wanted;
        difference += (wanted - heard) * (wanted - heard);
      }
      least_difference = std::min(least_difference, difference);
    }
    EXPECT_GT(energy, 100);
    EXPECT_LT(least_difference, energy / 100);
  }
}

// A broadcast changes from stereo to mono between two programmes.
TEST(ClipSound, IsEncodedWhenItsChannelsChange) {
  const tests::TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.ts";
  std::string bytes;
  for (const char* channels : {"2", "1"}) {
    ffmpeg("-y " + kPictures + "-i sine=d=2 -c:a ac3 -ac " + channels + ' ' + clip.string());
    bytes += tests::readFile(clip);
  }
  std::ofstream(clip, std::ios::binary) << bytes;
  const fs::path output = folder.path() / "out.mp4";
  restyle(clip, output, {.sound = Sound::kAac});
  EXPECT_NEAR(static_cast<double>(samplesOf(output).size()) / 44100, 4, 0.2);
}

// 0 where the system has no such file.
std::size_t memory_kib(const std::string& kind) {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::size_t kib = 0;
  while (status >> word && word != kind) {
  }
  status >> kib;
  return kib;
}

// The silence has 73 MiB of samples.
TEST(ClipSound, LongSilenceIsEncodedInParts) {
  const tests::TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mkv";
  const fs::path output = folder.path() / "out.mp4";
  ffmpeg(kPictures + "-i sine=d=1203:r=16000 -af aselect=not(between(t\\,1\\,1202)) -c:a pcm_s16le " + clip.string());
  std::ofstream("/proc/self/clear_refs") << 5; // the peak begins anew
  [[maybe_unused]] const std::size_t before_kib = memory_kib("VmRSS:");
  restyle(clip, output, {.sound = Sound::kAac});
#ifndef __SANITIZE_ADDRESS__ // which keeps freed memory for a while
  EXPECT_LT(memory_kib("VmHWM:"), before_kib + 60 * 1024);
#endif
  const std::vector<float> samples = samplesOf(output);
  ASSERT_NEAR(static_cast<double>(samples.size()) / 44100, 1203, 0.1);
  const auto energyIn = [&](std::size_t from_s) {
    const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(from_s * 44100 + 4410);
    return std::inner_product(begin, begin + 35280, begin, 0.0F);
  };
  EXPECT_GT(energyIn(0), 50);
  EXPECT_LT(energyIn(1), 0.1);
  EXPECT_LT(energyIn(1201), 0.1);
  EXPECT_GT(energyIn(1202), 50);
}

// The first file has no sound. Of the second, pictures come first, or sound where they begin half a second later.
TEST(ClipSound, ThatBeginsInAJoinedFileIsHeardThere) {
  const tests::TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.ts";
  for (const auto& [seconds, offset] : {std::pair(2, "0"), {5, "0.5"}}) {
    const std::string pictures = " -f lavfi -i testsrc2=s=64x48:r=25:d=" + std::to_string(seconds);
    ffmpeg("-y" + pictures + ' ' + clip.string());
    const std::string silent = tests::readFile(clip);
    ffmpeg("-y -f lavfi -i sine=d=2 -itsoffset " + std::string(offset) + pictures + ' ' + clip.string());
    const std::string joined = silent + tests::readFile(clip);
    std::ofstream(clip, std::ios::binary) << joined;
    restyle(clip, folder.path() / "out.mp4", {.overwrite = true});
    EXPECT_NEAR(tests::soundDelay(folder.path() / "out.mp4"), seconds, 0.1);
  }
}

TEST(ClipSound, IsLeftOutOrCopiedWhenThatIsAskedFor) {
  const tests::TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.wmv";
  ffmpeg(kPictures + "-i sine=d=2 -c:v wmv2 -c:a wmav2 " + clip.string());
  restyle(clip, folder.path() / "out.mkv", {.sound = Sound::kNone});
  EXPECT_EQ(tests::packetHashes(folder.path() / "out.mkv", 'a'), "");
  const Error error = errorOf([&] { restyle(clip, folder.path() / "other.mkv", {.sound = Sound::kCopy}); });
  EXPECT_THAT(error.what(), HasSubstr("cannot go into a file of the kind matroska"));
  EXPECT_THAT(error.what(), testing::Not(HasSubstr(".mkv"))); // nothing is gained by the same kind
}

// Zeros are no frame of AAC, whether a muxer's filter looks at them or a decoder.
TEST(ClipSound, ADamagedPacketIsLeftOutAndReported) {
  for (const Sound sound : {Sound::kCopy, Sound::kAac}) {
    const tests::TemporaryFolder folder;
    const fs::path clip = folder.path() / "in.ts";
    ffmpeg(kPictures + "-i sine=d=2 -c:a aac " + clip.string());
    const std::unique_ptr<Source> source = openSource(clip);
    const std::unique_ptr<Sink> sink = openSink(folder.path() / "out.mp4", source->info(), source->info().size, {.sound = sound});
    int packets = 0;
    while (std::optional<Item> item = source->next()) {
      if (auto* packet = std::get_if<Packet>(&*item); packet != nullptr && ++packets == 20) {
        AVPacket& damaged = *packet->data->packet;
        ASSERT_EQ(av_packet_make_writable(&damaged), 0);
        std::memset(damaged.data, 0, static_cast<std::size_t>(damaged.size));
      }
      std::visit([&](auto& what) { sink->write(std::move(what)); }, *item);
    }
    sink->finish();
    EXPECT_THAT(sink->damage(), testing::ElementsAre(HasSubstr("lacks 1 damaged")));
    EXPECT_GT(packets, 80);
    EXPECT_NEAR(tests::duration(folder.path() / "out.mp4"), 2, 0.1);
  }
}

// The frames, and about the sound, of the span, whether the file is searched or read from its begin, and tells when frames are
// shown or not; keyframes are a second apart. In MKV the pictures begin 23 ms after the sound. In MP4 the first frame of the span
// begins 5 ms before it, and is cut.
TEST(ClipSound, OnlyTheSpanThatIsAskedForIsTaken) {
  using namespace tests;
  const TemporaryFolder folder;
  std::ofstream(folder.path() / "words.srt") << "1\n00:00:00,500 --> 00:00:03,500\nA line.\n";
  const std::string sources =
      "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -f lavfi -i sine=d=4 -i " + (folder.path() / "words.srt").string();
  const std::string h264 = " -c:v libx264 -crf 10 -g 25 -bf 2 -c:a aac ";
  for (const auto& [name, encoding, begin] : {std::tuple(std::string("in.mp4"), " -c:s mov_text" + h264, 0.0),
                                              {"in.mkv", " -c:s srt" + h264, 0.018},
                                              {"in.mpg", " -map 0 -map 1 -c:v mpeg2video -q:v 2 -g 25 -bf 2 -c:a mp2 ", 0.006}}) {
    SCOPED_TRACE(name);
    const fs::path clip = folder.path() / name;
    const fs::path output = folder.path() / ("out_" + name + ".mkv");
    std::string command = sources;
    command.append(encoding).append(clip.string());
    ffmpeg(command);
    const std::unique_ptr<Source> source = openSource(clip, {.start_s = 1.605, .end_s = 2.785});
    EXPECT_NEAR(static_cast<double>(source->info().frames_expected.value_or(0)), 30, 2);
    const std::unique_ptr<Sink> sink = openSink(output, source->info(), source->info().size, {.crf = 10});
    EXPECT_THAT(run(*source, *sink, {}).damage, testing::IsEmpty());
    const std::string numbered = "setpts=N/25/TB -an -sn -c:v ffv1 ";
    ffmpeg("-i " + clip.string() + " -vf select=between(n\\,40\\,69)," + numbered + (folder.path() / "expected.mkv").string());
    ffmpeg("-i " + output.string() + " -vf " + numbered + (folder.path() / "read.mkv").string());
    EXPECT_GE(peakSignalToNoise_db(folder.path() / "read.mkv", folder.path() / "expected.mkv"), 36);
    const std::vector<double> times = frameTimes(output);
    ASSERT_EQ(times.size(), 30U);
    EXPECT_NEAR(times.front(), begin, 0.001);
    EXPECT_NEAR(times.back(), 29 * 0.04 + (begin > 0 ? begin : -0.005), 0.001);
    EXPECT_NEAR(duration(output), 1.18, 0.03); // one packet of sound
    EXPECT_NEAR(soundDelay(output), 0, 0.024);
    EXPECT_GT(packetHashes(output, 'a'), "");
    if (name != "in.mpg") {
      ffmpeg("-i " + output.string() + " -c:s srt " + (folder.path() / "read.srt").string());
      EXPECT_THAT(readFile(folder.path() / "read.srt"), HasSubstr("00:00:00,000 --> 00:00:01,180"));
    }
  }
}

} // namespace
} // namespace vorin::media
