// vorin-stylize with clips and pipes: the real program, ffmpeg before and behind it.
#include "support/media_files.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr const char* kSound = " -f lavfi -i sine=d=";

class StylizeClip : public testing::Test {
protected:
  std::string clip(const std::string& name, const std::string& pictures, int seconds, const std::string& encoding) const {
    const std::string length = std::to_string(seconds);
    ffmpeg("-f lavfi -i " + pictures + ":r=10:d=" + length + kSound + length + " -shortest " + encoding +
           " -c:v libx264 -preset ultrafast -crf 5 -c:a aac " + run_.file(name));
    return run_.file(name);
  }

  std::string testClip() const { return clip("in.mp4", "testsrc2=s=160x120", 1, "-pix_fmt yuv420p"); }

  StylizeRun run_;
};

// The network turns pictures into their negatives. On the way lie the clip's own YUV matrix, twice, and the codec: a wrong matrix
// would shift red by 13 and green by 20.
TEST_F(StylizeClip, IsTheNetworksAnswerToEachFrameWithTheClipsSound) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const std::string in = clip("in.mp4", "color=0xC84628:s=160x120", 1,
                              "-vf scale=out_color_matrix=bt709,format=yuv420p -colorspace bt709 -color_range tv");
  const ChildResult result = StylizeRun::run(
      {in, "-o", run_.file("out.mp4"), "--style", "cartoon", "--models", package.folder(), "--crf", "1"}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_THAT(linesOf(result.standard_error), testing::Contains(HasSubstr("out.mp4: 160x120, cartoon, 10 frames, ")));
  EXPECT_THAT(result.standard_error, testing::StartsWith("vorin-stylize: style cartoon, network cartoon_model_slim5 of '"));
  EXPECT_EQ(frameTimes(run_.file("out.mp4")), frameTimes(in));
  EXPECT_EQ(packetHashes(run_.file("out.mp4"), 'a'), packetHashes(in, 'a'));
  const std::vector<int> before = middleColour(in);
  const std::vector<int> after = middleColour(run_.file("out.mp4"));
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(after[i], 255 - before[i], 5) << i;
  }
  EXPECT_EQ(run_.names(), (std::set<std::string>{"in.mp4", "out.mp4"}));
}

// Each way through pipes draws what the way through files draws, but for the codec.
TEST_F(StylizeClip, PipesTakeThePlaceOfFiles) {
  const std::string in = testClip();
  const std::string program = StylizeRun::program() + " - -o - --style pencil --quiet";
  ASSERT_EQ(
      StylizeRun::run({in, "-o", run_.file("file.mp4"), "--style", "pencil", "--crf", "5"}, StylizeRun::withGpu()).exit_status,
      0);
  const std::string raw_end = " -s 160x120 -r 10 -i - -c:v ffv1 ";
  const std::array<std::string, 3> ways = {"ffmpeg -v error -i " + in + " -f yuv4mpegpipe - | " + program +
                                               " | ffmpeg -v error -f yuv4mpegpipe -i - -c:v ffv1 ",
                                           "ffmpeg -v error -i " + in + " -f rawvideo -pix_fmt nv12 - | " + program +
                                               " --raw nv12:160x120@10 | ffmpeg -v error -f rawvideo -pix_fmt nv12" + raw_end,
                                           "ffmpeg -v error -i " + in + " -f rawvideo -pix_fmt bgr24 - | " + program +
                                               " --raw bgr24:160x120@10 | ffmpeg -v error -f rawvideo -pix_fmt bgr24" + raw_end};
  for (std::size_t i = 0; i < ways.size(); ++i) {
    const std::string output = run_.file("piped" + std::to_string(i) + ".mkv");
    const ChildResult result = ChildProcess({"/bin/sh", "-c", ways[i] + output}, StylizeRun::withGpu()).wait();
    EXPECT_EQ(result.exit_status, 0) << ways[i];
    EXPECT_EQ(result.standard_error, "") << ways[i];
    EXPECT_EQ(frameTimes(output), frameTimes(in)) << ways[i];
    EXPECT_GE(peakSignalToNoise_db(output, run_.file("file.mp4")), 28) << ways[i];
  }
}

// Also where no GPU is found and the program starts again, with the pipe still whole.
TEST_F(StylizeClip, ThePipeIsNotTouchedBeforeTheDeviceIsSure) {
  const std::string way = "ffmpeg -v error -i " + testClip() + " -f yuv4mpegpipe - | " + StylizeRun::program() + " - -o " +
                          run_.file("out.mkv") + " --style stipple --codec ffv1";
  const ChildResult result = ChildProcess({"/bin/sh", "-c", way}, StylizeRun::withoutGpu()).wait();
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.standard_error, HasSubstr("no GPU found"));
  EXPECT_EQ(frameTimes(run_.file("out.mkv")).size(), 10U);
}

// A noisy scene at rest, then a cut to another, drawn as negatives. The first drawing and the one after the cut stay as they are
// to the last bit; noise flickers at most 0.3 times as much (a memory of nine tenths leaves less, but has not come to rest after
// a few frames).
TEST_F(StylizeClip, SteadyItFlickersLess) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const std::string photo = run_.photo("photo.png", {160, 120});
  for (const auto& [layout, frame_bytes] :
       {std::pair<std::string, std::size_t>("nv12", 160 * 120 * 3 / 2), {"bgra", 160 * 120 * 4}}) {
    const auto drawn = [&, name = layout](const std::string& option) {
      const std::string noise = "noise=alls=8:allf=t:all_seed=1,trim=end_frame=8";
      std::ostringstream way;
      way << "ffmpeg -v error -loop 1 -r 10 -i " << photo << " -f lavfi -i rgbtestsrc=s=160x120:r=10 -filter_complex '[0]"
          << noise << "[a];[1]" << noise << "[b];[a][b]concat' -f rawvideo -pix_fmt " << name << " - | '" << StylizeRun::program()
          << "' - -o - --quiet --style cartoon --models " << package.folder() << " --raw " << name << ":160x120@10 " << option;
      return ChildProcess({"/bin/sh", "-c", way.str()}, StylizeRun::withGpu()).wait().standard_output;
    };
    const std::string raw = drawn("");
    const std::string steady = drawn("--steady");
    ASSERT_EQ(raw.size(), 16 * frame_bytes) << layout;
    ASSERT_EQ(steady.size(), raw.size()) << layout;
    for (const std::size_t frame : {0, 8}) {
      EXPECT_TRUE(raw.compare(frame * frame_bytes, frame_bytes, steady, frame * frame_bytes, frame_bytes) == 0)
          << layout << ", frame " << frame;
    }
    const auto flicker = [bytes = frame_bytes](const std::string& clip) {
      double sum = 0;
      for (std::size_t i = 5 * bytes; i < 8 * bytes; ++i) {
        sum += std::abs(static_cast<std::uint8_t>(clip[i]) - static_cast<std::uint8_t>(clip[i - bytes]));
      }
      return sum;
    };
    EXPECT_GT(flicker(steady), 0) << layout;
    EXPECT_LT(flicker(steady), 0.3 * flicker(raw)) << layout;
  }
}

// To the last bit, also where the clip's colours are not those that the library reckons in.
TEST_F(StylizeClip, WithoutStrengthItIsTheSource) {
  for (const auto& [matrix, range] : {std::pair<std::string, std::string>("bt709", "tv"), {"bt709", "pc"}, {"smpte170m", "tv"}}) {
    const std::string in = run_.file("in.mkv");
    const std::string out = run_.file("out.mkv");
    std::ostringstream made;
    made << "-y -f lavfi -i testsrc2=s=160x120:r=10:d=0.5 -vf scale=out_color_matrix=" << matrix << ":out_range=" << range
         << ",format=yuv420p -colorspace " << matrix << " -color_range " << range << " -c:v ffv1 " << in;
    ffmpeg(made.str());
    const ChildResult result =
        StylizeRun::run({in, "-o", out, "--style", "pencil", "--strength", "0", "--codec", "ffv1", "--overwrite", "--quiet"},
                        StylizeRun::withGpu());
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    EXPECT_EQ(peakSignalToNoise_db(out, in), kNoNoise_db) << matrix << ", " << range;
  }
}

TEST_F(StylizeClip, ItIsDrawnInOneLook) {
  const ChildResult result = StylizeRun::run(
      {testClip(), "-o", run_.file("out.mp4"), "--style", "transfer", "--style-image", run_.folder()}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 2);
  EXPECT_THAT(linesOf(result.standard_error), testing::ElementsAre(HasSubstr("--style-image is a folder")));
}

// And then, with that file in the way, leaves it alone.
TEST_F(StylizeClip, CancelledItClosesAFileThatPlays) {
  const std::string in = clip("in.mp4", "testsrc2=s=320x240", 60, "");
  const std::string out = run_.file("out.mp4");
  const auto hasBegun = [&] {
    constexpr std::uintmax_t kSomeFrames_bytes = 200000;
    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(run_.folder())) {
      bytes += entry.path().extension() == ".part" ? entry.file_size() : 0;
    }
    return bytes >= kSomeFrames_bytes;
  };
  const auto cancelled = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {in, "-o", out, "--style", "pencil", "--crf", "1"});
    const ChildResult result = StylizeRun::runCancelled(options, StylizeRun::withGpu(), hasBegun);
    EXPECT_EQ(result.exit_status, 130) << result.standard_error;
    EXPECT_THAT(result.standard_error, HasSubstr("cancelled"));
    EXPECT_EQ(run_.names(), (std::set<std::string>{"in.mp4", "out.mp4"}));
    return result.standard_error;
  };
  const std::string said = cancelled({});
  const std::size_t frames = frameTimes(out).size();
  EXPECT_GE(frames, 1U);
  EXPECT_LT(frames, 600U);
  EXPECT_THAT(said, HasSubstr("pencil, " + std::to_string(frames) + " frame"));
  EXPECT_THAT(cancelled({"--overwrite"}), HasSubstr("out.mp4: no frame of this run"));
  EXPECT_EQ(frameTimes(out).size(), frames);
}

TEST_F(StylizeClip, ACutClipIsDrawnAsFarAsItGoesAndReported) {
  const std::string in = clip("in.mp4", "testsrc2=s=320x240", 4, "-movflags faststart");
  fs::resize_file(in, fs::file_size(in) / 2);
  const ChildResult result =
      StylizeRun::run({in, "-o", run_.file("out.mp4"), "--style", "pencil", "--quiet"}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(linesOf(result.standard_error), testing::Each(HasSubstr("in.mp4' ")));
  EXPECT_THAT(result.standard_error, HasSubstr("is cut short or damaged: it was read up to "));
  EXPECT_EQ(frameTimes(run_.file("out.mp4")).size(), frameTimes(in).size());
}

TEST_F(StylizeClip, FailuresAreOneLineWithTheirStatus) {
  const std::string in = testClip();
  const std::string out = run_.file("out.mp4");
  std::ofstream(run_.file("text.mp4")) << "no clip\n";
  run_.photo("photo.png", {16, 16});
  std::filesystem::create_directory(run_.file("clips"));
  std::ofstream(run_.file("clips/film.mp4")).close();
  const std::set<std::string> before = run_.names();
  constexpr const char* kNoSpace = "standard output cannot be written";
  struct Case {
    std::vector<std::string> arguments;
    int status;
    const char* said;
  };
  for (const Case& each : std::vector<Case>{
           {{in, "-o", run_.file("out.avi")}, 2, "for a clip .mp4"},
           {{in, "-o", out, "--codec", "h999"}, 2, "no encoder for --codec 'h999'"},
           {{in, "-o", out, "--crf", "64"}, 2, "--crf 64"},
           {{in, "-o", out, "--crf", "good"}, 2, "--crf 'good'"},
           {{in, "-o", out, "--raw", "bgra:8x8@5"}, 2, "of no use without a pipe"},
           {{in, "-o", out, "--format", "nv12"}, 2, "--format is of no use to a clip"},
           {{in, "-o", "-", "--raw", "bgra:8x8"}, 2, "write it as nv12:1280x720@30"},
           {{in, "-o", "-", "--raw", "bgra:8x8@5"}, 2, "is not the size of the frames, 160x120"},
           {{in, "-o", "-", "--crf", "5"}, 2, "not encoded"},
           {{run_.file("photo.png"), "-o", run_.file("out.png"), "--codec", "h264"}, 2, "of no use to a photo"},
           {{run_.file("photo.png"), "-o", run_.file("out.png"), "--steady"}, 2, "--steady is of no use to a photo"},
           {{run_.file("clips"), "-o", run_.file("drawn")}, 5, "only clips, which are drawn one at a time"},
           {{run_.file("none.mp4"), "-o", out}, 5, "does not exist"},
           {{run_.file("text.mp4"), "-o", out}, 5, "is not a clip"},
           {{run_.file("photo.png"), "-o", out}, 5, "is not a clip"},
           {{in, "-o", in}, 5, "exists"},
           {{in, "-o", run_.file("none/out.mp4")}, 5, "make it first"},
           {{in, "-o", "-", "--raw", "bgra:160x120@10"}, 5, kNoSpace},
       }) {
    std::vector<std::string> arguments = each.arguments;
    arguments.insert(arguments.end(), {"--style", "pencil"});
    ChildSetting setting = StylizeRun::withGpu();
    if (each.status == 5) {
      setting.standard_output = "/dev/full";
    }
    const ChildResult result = StylizeRun::run(arguments, setting);
    EXPECT_EQ(result.exit_status, each.status) << each.said;
    // Where only the writing fails, it has been told before how the clip is drawn.
    EXPECT_TRUE(each.said == kNoSpace || linesOf(result.standard_error).size() == 1) << result.standard_error;
    EXPECT_THAT(linesOf(result.standard_error).back(), HasSubstr(each.said));
    EXPECT_EQ(run_.names(), before) << each.said;
  }
}

} // namespace
} // namespace vorin::tests
