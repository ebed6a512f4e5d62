// Jobs on clips of many kinds, in all styles: the same frames in whatever order the units are done. ffmpeg tells whether the
// outputs are equal.
#include "support/stylize_job.h"
#include "support/test_networks.h"

namespace vorin::tests {
namespace {

struct Way {
  const char* name;
  const char* encoding; // of the source
  const char* in;
  const char* out;
  Words options;
  bool equals_plain = false; // a style without memory, encoded without loss, has the frames of an ordinary run
};

void PrintTo(const Way& way, std::ostream* stream) { // for messages
  *stream << way.name;
}

std::string nameOf(const testing::TestParamInfo<Way>& way) {
  return way.param.name;
}

class StylizeJobWay : public StylizeJob, public testing::WithParamInterface<Way> {};

const char* const kPlain = "-c:v libx264 -bf 2 -g 10 -pix_fmt yuv420p -c:a aac";
const Words kLossless = {"--crf", "0"};

INSTANTIATE_TEST_SUITE_P(
    Jobs, StylizeJobWay,
    testing::Values(
        Way{"pencil", kPlain, "in.mp4", "out.mp4", {"--style", "pencil", "--crf", "0"}, true},
        Way{"stipple_in_mkv", kPlain, "in.mp4", "out.mkv", {"--style", "stipple", "--crf", "0"}, true},
        Way{"odd_sizes_without_sound",
            "-vf scale=161:91 -c:v ffv1 -pix_fmt yuv444p -an",
            "in.mkv",
            "out.mkv",
            {"--style", "stipple", "--steady", "--crf", "0"}},
        Way{"steady_pencil_at_a_cut",
            "-vf select='if(gte(n\\,20)\\,not(mod(n\\,2))\\,1)',hue=h='if(gte(t\\,1.6)\\,180\\,0)' -c:v libx264 -g 10 -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--steady"}},
        Way{"variable_rate",
            "-vf setpts='PTS+(0.03*mod(N\\,3)+2*gte(N\\,34))/TB' -fps_mode vfr -c:v libx264 -bf 2 -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--crf", "0"},
            true},
        Way{"ten_bits_to_h265",
            "-c:v libx264 -pix_fmt yuv420p10le -c:a aac",
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--codec", "h265"}},
        Way{"webm", kPlain, "in.mp4", "out.webm", {"--style", "stipple"}},
        Way{"part_in_half_size",
            kPlain,
            "in.mp4",
            "out.mp4",
            {"--style", "pencil", "--size", "50%", "--start", "0.4", "--end", "2.4", "--strength", "0.5", "--keep-colors"}},
        Way{"transport_stream",
            "-c:v libx264 -bf 2 -g 10 -c:a aac",
            "in.ts",
            "out.mkv",
            {"--style", "pencil", "--crf", "0"},
            true},
        Way{"prores", kPlain, "in.mp4", "out.mov", {"--style", "pencil", "--codec", "prores_ks"}},
        Way{"cartoon", kPlain, "in.mp4", "out.mp4", {"--style", "cartoon", "--crf", "0"}, true},
        Way{"steady_light_grey", kPlain, "in.mp4", "out.mp4", {"--style", "lightgrey", "--steady"}},
        Way{"transfer", kPlain, "in.mp4", "out.mp4", {"--style", "transfer"}},
        Way{"steady_transfer", kPlain, "in.mp4", "out.mp4", {"--style", "transfer", "--steady"}}),
    nameOf);

// One process in order, and processes that go backwards, in a folder of their own: the same frames and times, the sound copied.
TEST_P(StylizeJobWay, HasTheSameFramesInWhateverOrder) {
  const Way& way = GetParam();
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1}), alikeTwins(kLightGrey, FixedNetwork{.gain = -1}),
                             alikeTwins(kTransfer512, TransferNetwork{})});
  Words options = way.options;
  options.insert(options.end(), {"--models", package.folder()});
  if (options[1] == "transfer") {
    options.insert(options.end(), {"--style-image", run_.image("painting.png")});
  }
  clip(way.in, way.encoding);
  plan(way.in, std::string("a_") + way.out, "a", options);
  job({"work", "%a", "-q"});
  job({"join", "%a", "-q"});
  plan(way.in, std::string("b_") + way.out, "b", options);
  workBackwards("b");
  job({"join", "%b", "-q"});
  expectOnlyUnits("a");
  expectSameClip(std::string("a_") + way.out, std::string("b_") + way.out);
  Words plain = {run_.file(way.in), "-o", run_.file(std::string("plain_") + way.out), "-q"};
  plain.insert(plain.end(), options.begin(), options.end());
  EXPECT_EQ(StylizeRun::run(plain).exit_status, 0);
  const std::string joined = run_.file(std::string("a_") + way.out);
  EXPECT_EQ(packetHashes(joined, 'a'), packetHashes(plain[2], 'a'));
  EXPECT_EQ(frameTimes(joined), frameTimes(plain[2]));
  EXPECT_NEAR(duration(joined), duration(plain[2]), 0.002); // Matroska counts milliseconds
  EXPECT_EQ(videoEntries(joined, "width,height,color_range,color_space,sample_aspect_ratio"),
            videoEntries(plain[2], "width,height,color_range,color_space,sample_aspect_ratio"));
  if (way.equals_plain) {
    EXPECT_EQ(frameHashes(joined), frameHashes(plain[2]));
  }
}

} // namespace
} // namespace vorin::tests
