// The sound of clips: copied, encoded as AAC, left out; damaged packets.
#include "libav_support.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>

#include <cstring>
#include <limits>
#include <set>

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

TEST(ClipSound, IsLeftOutOrCopiedWhenThatIsAskedFor) {
  const tests::TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.wmv";
  ffmpeg(kPictures + "-i sine=d=2 -c:v wmv2 -c:a wmav2 " + clip.string());
  restyle(clip, folder.path() / "out.mkv", {.sound = Sound::kNone});
  EXPECT_EQ(tests::packetHashes(folder.path() / "out.mkv", 'a'), "");
  try {
    restyle(clip, folder.path() / "other.mkv", {.sound = Sound::kCopy});
    ADD_FAILURE() << "the file cannot hold it";
  } catch (const Error& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot go into a file of the kind matroska"));
    EXPECT_THAT(error.what(), testing::Not(HasSubstr(".mkv"))); // nothing is gained by the same kind
  }
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

} // namespace
} // namespace vorin::media
