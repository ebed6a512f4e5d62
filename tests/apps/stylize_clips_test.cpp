// vorin-stylize with clips and pipes: the real program, ffmpeg before and behind it.
#include "support/media_files.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

class StylizeClip : public testing::Test {
protected:
  // A clip of 10 frames a second, with sound.
  std::string clip(const std::string& name, const std::string& pictures, int seconds, const std::string& encoding) const {
    const std::string length = std::to_string(seconds);
    ffmpeg("-f lavfi -i " + pictures + ":r=10:d=" + length + " -f lavfi -i sine=d=" + length + " -shortest " + encoding +
           " -c:v libx264 -preset ultrafast -crf 5 -c:a aac " + run_.file(name));
    return run_.file(name);
  }

  std::string testClip(const std::string& name = "in.mp4") const {
    return clip(name, "testsrc2=s=160x120", 1, "-pix_fmt yuv420p");
  }

  // Standard output of a shell command with the program, named $0, in it.
  static std::string shell(const std::string& command) {
    const ChildResult result = ChildProcess({"/bin/sh", "-c", command, StylizeRun::program()}, StylizeRun::withGpu()).wait();
    EXPECT_EQ(result.exit_status, 0) << command;
    EXPECT_EQ(result.standard_error, "") << command;
    return result.standard_output;
  }

  StylizeRun run_;
};

// The network turns pictures into their negatives. The clip's own YUV matrix, twice, and the codec lie in between: a wrong matrix
// would shift red by 13 and green by 20.
TEST_F(StylizeClip, IsTheNetworksAnswerToEachFrameWithTheClipsSound) {
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const std::string in = clip("in.mp4", "color=0xC84628:s=160x120", 1,
                              "-vf scale=out_color_matrix=bt709,format=yuv420p -colorspace bt709 -color_range tv");
  const std::string out = run_.file("out.mp4");
  const ChildResult result = StylizeRun::run({in, "-o", out, "--style", "cartoon", "--models", package.folder(), "--crf", "1"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.standard_error,
              testing::AllOf(testing::StartsWith("vorin-stylize: style cartoon, network cartoon_model_slim5 of '"),
                             HasSubstr("out.mp4: 160x120, cartoon, 10 frames, ")));
  EXPECT_EQ(frameTimes(out), frameTimes(in));
  EXPECT_EQ(packetHashes(out, 'a'), packetHashes(in, 'a'));
  const std::vector<int> before = middleColour(in);
  const std::vector<int> after = middleColour(out);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(after[i], 255 - before[i], 5) << i;
  }
  EXPECT_EQ(run_.names(), (std::set<std::string>{"in.mp4", "out.mp4"}));
}

// Pipes a clip from one ffmpeg through the program to another. raw: the pixels in the pipes; empty for Y4M.
std::string pipeLine(const std::string& in, const std::string& raw, const std::string& output) {
  const std::string format = raw.empty() ? " -f yuv4mpegpipe" : " -f rawvideo -pix_fmt " + raw;
  return "ffmpeg -v error -i " + in + format + " - | $0 - -o - --style pencil --quiet" +
         (raw.empty() ? "" : " --raw " + raw + ":160x120@10") + " | ffmpeg -y -v error" + format +
         (raw.empty() ? "" : " -s 160x120 -r 10") + " -i - -c:v ffv1 " + output;
}

// Pipes of every format give the same result as files, except for the codec.
TEST_F(StylizeClip, PipesTakeThePlaceOfFiles) {
  const std::string in = testClip();
  const std::string file = run_.file("file.mp4");
  EXPECT_EQ(StylizeRun::run({in, "-o", file, "--style", "pencil", "--crf", "5"}).exit_status, 0);
  for (const std::string raw : {"", "nv12", "bgr24"}) {
    const std::string output = run_.file("piped.mkv");
    shell(pipeLine(in, raw, output));
    EXPECT_EQ(frameTimes(output), frameTimes(in)) << raw;
    EXPECT_GE(peakSignalToNoise_db(output, file), 28) << raw;
  }
}

// A photo goes in and out as from and to a file.
TEST_F(StylizeClip, APipeMayCarryAPhoto) {
  const std::string in = run_.image("photo.png");
  EXPECT_EQ(StylizeRun::run({in, "-o", run_.file("file.bmp"), "--style", "pencil"}).exit_status, 0);
  const std::string expected = readFile(run_.file("file.bmp"));
  EXPECT_TRUE(shell("cat " + in + " | $0 - -o - --to bmp --style pencil --quiet") == expected);
  EXPECT_TRUE(shell("$0 " + in + " -o - --to bmp --style pencil --quiet | cat") == expected);
  const std::string onto_itself = "$0 - --style pencil -o " + in + " --overwrite <" + in;
  for (const auto& [command, status, said] :
       {std::tuple("cat " + in + " | $0 - --style pencil -o " + run_.file("out.mp4"), 5, "standard input is an image"),
        {"printf 'YUV4MPEG2 W2 H2\\nFRAME\\n123456' | $0 - --style pencil -o " + run_.file("out.png"), 5,
         "standard input holds frames"},
        {onto_itself, 2, "is the file of standard input, which is read"},
        {"head -c 500 " + in + " | $0 - --style pencil -o " + run_.file("out.png"), 5, "standard input is truncated"}}) {
    expectFailure(ChildProcess({"/bin/sh", "-c", command, StylizeRun::program()}, StylizeRun::withGpu()).wait(), status, said);
  }
}

// The first frame stays unchanged, and the noise of the others is reduced.
TEST_F(StylizeClip, SteadyChangesAllButTheFirstFrame) {
  constexpr std::size_t kFrameBytes = 160 * 120 * 4;
  const std::string line =
      "ffmpeg -v error -f lavfi -i smptebars=s=160x120:r=10:d=0.3,noise=alls=8:allf=t:all_seed=1 -f rawvideo "
      "-pix_fmt bgra - | $0 - -o - --quiet --style pencil --raw bgra:160x120@10";
  const std::string plain = shell(line);
  const std::string steady = shell(line + " --steady");
  ASSERT_EQ(plain.size(), 3 * kFrameBytes);
  ASSERT_EQ(steady.size(), plain.size());
  for (const std::size_t frame : {0, 1, 2}) {
    EXPECT_EQ(plain.compare(frame * kFrameBytes, kFrameBytes, steady, frame * kFrameBytes, kFrameBytes) == 0, frame == 0);
  }
}

// Equal to the last bit, also if the clip's colours are not those that the styles expect.
TEST_F(StylizeClip, WithoutStrengthItIsTheSource) {
  const std::string in = run_.file("in.mkv");
  const std::string out = run_.file("out.mkv");
  ffmpeg(
      "-f lavfi -i testsrc2=s=160x120:r=10:d=0.5 -vf scale=out_color_matrix=bt709:out_range=pc,format=yuv420p -colorspace bt709 "
      "-color_range pc -c:v ffv1 " +
      in);
  EXPECT_EQ(StylizeRun::run({in, "-o", out, "--style", "pencil", "--strength", "0", "--codec", "ffv1"}).exit_status, 0);
  EXPECT_EQ(peakSignalToNoise_db(out, in), kNoNoise_db);
}

// A kind that is read but not written becomes .mkv. Clips and images have their options side by side.
TEST_F(StylizeClip, FolderMayHoldClipsAndImages) {
  fs::create_directory(run_.file("in"));
  run_.image("in/photo.png");
  const std::string in = testClip("in/a.mp4");
  ffmpeg("-i " + in + " -c:v mpeg4 -q:v 2 -c:a mp3 " + run_.file("in/b.avi"));
  const ChildResult result = StylizeRun::run(
      {run_.file("in"), "-o", run_.file("out"), "--style", "pencil", "--to", "bmp", "--codec", "h265", "--steady", "--json"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(linesOf(result.standard_error).back(), HasSubstr(": 3 files restyled"));
  EXPECT_EQ(loadPicture(run_.file("out/photo.bmp")).size(), cv::Size(61, 47));
  for (const char* name : {"out/a.mp4", "out/b.mkv"}) {
    EXPECT_EQ(videoEntries(run_.file(name), "codec_name,width"), "hevc,160") << name;
    EXPECT_EQ(frameTimes(run_.file(name)).size(), 10U) << name;
    EXPECT_NE(packetHashes(run_.file(name), 'a'), "") << name;
  }
  EXPECT_THAT(result.standard_output, HasSubstr("\"frames\": 10"));
}

TEST_F(StylizeClip, CancelledItClosesAFileThatPlays) {
  const std::string in = clip("in.mp4", "testsrc2=s=320x240", 60, "");
  const std::string out = run_.file("out.mp4");
  const auto hasBegun = [&] { // some frames are written
    return std::any_of(fs::directory_iterator(run_.folder()), {},
                       [](const auto& entry) { return entry.path().extension() == ".part" && entry.file_size() >= 200000; });
  };
  const ChildResult result =
      runAndSignal({StylizeRun::program(), in, "-o", out, "--style", "pencil", "--crf", "1"}, StylizeRun::withGpu(), hasBegun);
  EXPECT_EQ(result.exit_status, 130);
  EXPECT_EQ(linesOf(result.standard_error).back(), "vorin-stylize: cancelled");
  EXPECT_EQ(run_.names(), (std::set<std::string>{"in.mp4", "out.mp4"}));
  const std::size_t frames = frameTimes(out).size();
  EXPECT_GE(frames, 1U);
  EXPECT_LT(frames, 600U);
  EXPECT_THAT(result.standard_error, HasSubstr("pencil, " + std::to_string(frames) + " frame"));
}

TEST_F(StylizeClip, ACutClipIsRestyledAsFarAsItGoesAndReported) {
  const std::string in = clip("in.mp4", "testsrc2=s=320x240", 4, "-movflags faststart");
  fs::resize_file(in, fs::file_size(in) / 2);
  const ChildResult result = StylizeRun::run({in, "-o", run_.file("out.mp4"), "--style", "pencil", "--quiet"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(linesOf(result.standard_error), testing::Each(HasSubstr("in.mp4' ")));
  EXPECT_THAT(result.standard_error, HasSubstr("is cut short or damaged: it was read up to "));
  EXPECT_EQ(frameTimes(run_.file("out.mp4")).size(), frameTimes(in).size());
}

TEST_F(StylizeClip, FailuresAreOneLineWithTheirStatus) {
  const std::string in = testClip();
  const std::string out = run_.file("out.mp4");
  const std::string image = run_.image("photo.png", {16, 16});
  const std::string png = run_.file("out.png");
  fs::create_directory(run_.file("images"));
  run_.image("images/photo.png");
  const std::set<std::string> before = run_.names();
  constexpr const char* kNoSpace = "standard output cannot be written";
  for (auto [arguments, status, said] : std::vector<std::tuple<std::vector<std::string>, int, const char*>>{
           {{in, "-o", run_.file("out.avi")}, 2, "for a clip .mp4"},
           {{in, "-o", out, "--crf", "good"}, 2, "--crf = good"},
           {{in, "-o", out, "--raw", "bgra:8x8@5"}, 2, "--raw applies to pipes only"},
           {{in, "-o", "-", "--raw", "bgra:8x8"}, 2, "write it as nv12:1280x720@30"},
           {{in, "-o", "-", "--raw", "bgra:8x8@5"}, 2, "does not match the frames' size 160x120"},
           {{in, "-o", "-", "--crf", "5"}, 2, "not encoded"},
           {{image, "-o", "-"}, 2, "is an image: add --to"},
           {{in, "-o", out, "--start", "1:00", "--end", "0:30"}, 2, "--end must be later"},
           {{in, "-o", out, "--start", "9"}, 5, "has no frame between --start and --end"},
           {{in, "-o", run_.file("out.webm"), "--sound", "aac"}, 2, "a .webm file cannot hold AAC"},
           {{in, "-o", "-", "--json"}, 2, "would both go to standard output"},
           {{"-", in, "-o", out}, 2, "a pipe must be the only input"},
           {{in, "-o", out, "--style-image", run_.file("images"), "--style", "transfer"}, 2, "--style-image is a folder"},
           {{image, "-o", png, "--codec", "h264"}, 2, "--codec applies to clips only"},
           {{run_.file("images"), "-o", run_.file("new"), "--steady"}, 2, "--steady applies to clips only, and none is named"},
           {{image, "-o", out}, 5, " a clip"},                    // libav takes it for one of some kind, or of none
           {{"/dev/zero", "-o", png}, 5, "is not an image file"}, // and has no end
           {{in, "-o", png}, 5, "is a clip: name the output like a clip"},
           {{in, "-o", "-", "--raw", "bgra:160x120@10"}, 5, kNoSpace},
       }) {
    if (std::find(arguments.begin(), arguments.end(), "--style") == arguments.end()) {
      arguments.insert(arguments.end(), {"--style", "pencil"});
    }
    if (arguments.front().starts_with("/dev") && !fs::exists(arguments.front())) {
      continue; // on Windows
    }
    ChildSetting setting = StylizeRun::withGpu();
    if (status == 5) {
      setting.standard_output = "/dev/full";
    }
    const ChildResult result = StylizeRun::run(arguments, setting);
    EXPECT_EQ(result.exit_status, status) << said;
    // If only the writing fails, the headline is printed before.
    EXPECT_TRUE(said == kNoSpace || linesOf(result.standard_error).size() == 1) << result.standard_error;
    EXPECT_THAT(linesOf(result.standard_error).back(), HasSubstr(said));
    EXPECT_EQ(run_.names(), before) << said;
  }
}

} // namespace
} // namespace vorin::tests
