// Raw and Y4M pipes: real pipes, with another thread at either end.
#include "clip_formats.h"
#include "sources_and_sinks.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <fstream>
#include <random>
#include <thread>
#include <unistd.h>

namespace vorin::media {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A pipe whose writing end is fed with the bytes, in portions of an odd length.
class Fed {
public:
  explicit Fed(std::string bytes) : bytes_(std::move(bytes)) {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    feeder_ = std::thread([this] {
      constexpr std::size_t kPortion = 7919;
      for (std::size_t at = 0; at < bytes_.size(); at += kPortion) {
        if (::write(ends_[1], bytes_.data() + at, std::min(kPortion, bytes_.size() - at)) < 0) {
          break;
        }
      }
      ::close(ends_[1]);
    });
  }
  ~Fed() {
    ::close(ends_[0]);
    feeder_.join();
  }
  Fed(const Fed&) = delete;
  Fed& operator=(const Fed&) = delete;

  int descriptor() const { return ends_[0]; }

private:
  std::string bytes_;
  int ends_[2] = {-1, -1};
  std::thread feeder_;
};

// A pipe whose reading end is emptied.
class Drained {
public:
  Drained() {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    drain_ = std::thread([this] {
      std::array<char, 1000> portion{};
      for (ssize_t got = 0; (got = ::read(ends_[0], portion.data(), portion.size())) > 0;) {
        bytes_.append(portion.data(), static_cast<std::size_t>(got));
      }
    });
  }
  ~Drained() {
    if (drain_.joinable()) {
      static_cast<void>(bytes());
    }
    ::close(ends_[0]);
  }
  Drained(const Drained&) = delete;
  Drained& operator=(const Drained&) = delete;

  int descriptor() const { return ends_[1]; }
  std::string bytes() {
    ::close(ends_[1]);
    drain_.join();
    return bytes_;
  }

private:
  std::string bytes_;
  int ends_[2] = {-1, -1};
  std::thread drain_;
};

std::string noise(std::size_t count) {
  std::mt19937 random(7);
  std::string bytes(count, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() % 256); });
  return bytes;
}

struct Passed {
  std::string bytes;
  RunResult result;
};

// raw: empty for Y4M.
Passed pass(
    const std::string& input, const std::string& raw, const std::function<void(Picture&)>& change = [](Picture&) {}) {
  const Fed fed(input);
  Drained drained;
  const std::unique_ptr<Source> source = openPipeSource(fed.descriptor(), {raw, false});
  const std::unique_ptr<Sink> sink = openPipeSink(drained.descriptor(), source->info(), source->info().size, raw);
  FunctionEffect effect(change);
  Passed passed;
  passed.result = run(*source, *sink, std::array<Effect*, 1>{&effect});
  passed.bytes = drained.bytes();
  return passed;
}

std::string y4m(const std::string& parameters, std::size_t frame_bytes, int frames) {
  std::string bytes = "YUV4MPEG2 " + parameters + "\n";
  for (int i = 0; i < frames; ++i) {
    bytes += "FRAME\n" + noise(frame_bytes);
  }
  return bytes;
}

TEST(MediaPipes, Y4mComesOutByteForByte) {
  for (const char* parameters :
       {"W320 H240 F30000:1001 Ip A1:1 C420mpeg2 XCOLORRANGE=LIMITED", "W320 H240 F25:1 It A16:15 C420jpeg", "W320 H240 F50:1"}) {
    const std::string input = y4m(parameters, 320 * 240 * 3 / 2, 3);
    const Passed passed = pass(input, "");
    EXPECT_TRUE(passed.bytes == input) << parameters;
    EXPECT_EQ(passed.result.frames, 3);
    EXPECT_TRUE(passed.result.damage.empty());
  }
}

TEST(MediaPipes, RawFramesComeOutByteForByte) {
  // Alpha does not pass: every result is opaque.
  for (const char* raw : {"bgra:33x17@25", "bgr24:33x17@25", "nv12:34x18@29.97", "bgr24:1x1@1"}) {
    const RawFormat format = parseRawFormat(raw);
    const std::size_t pixels = static_cast<std::size_t>(format.size.width) * static_cast<std::size_t>(format.size.height);
    const std::size_t bytes = format.pixels == RawPixels::kBgra    ? pixels * 4
                              : format.pixels == RawPixels::kBgr24 ? pixels * 3
                                                                   : pixels / 2 * 3;
    const std::string input = noise(bytes * 5);
    EXPECT_TRUE(pass(input, raw).bytes == input) << raw;
  }
}

// The effect sees blue first, whatever the pipe's order; its colours are written in the pipe's order.
TEST(MediaPipes, ChannelsKeepTheirMeaning) {
  const std::string red_rgba("\xF0\x20\x10\xFF", 4);
  const Passed passed = pass(red_rgba, "rgba:1x1@25", [](Picture& picture) {
    const std::array<std::uint8_t, 4> written = {1, 2, 3, 255};
    EXPECT_THAT(std::vector(picture.pixels(), picture.pixels() + 4), ElementsAre(0x10, 0x20, 0xF0, 0xFF));
    std::copy(written.begin(), written.end(), picture.pixels());
  });
  EXPECT_EQ(passed.bytes, std::string("\x03\x02\x01\xFF", 4));

  // YUY2 of one colour: BT.601 in video range, from its definition red 200, green 70, blue 40.
  std::string yuy2;
  for (int pair = 0; pair < 8 * 4 / 2; ++pair) {
    yuy2 += std::string("\x6B\x60\x6B\xBB", 4);
  }
  const Passed kept = pass(yuy2, "yuy2:8x4@25", [](Picture& picture) {
    EXPECT_NEAR(picture.pixels()[0], 41, 4);
    EXPECT_NEAR(picture.pixels()[1], 64, 8);
    EXPECT_NEAR(picture.pixels()[2], 202, 4);
  });
  ASSERT_EQ(kept.bytes.size(), yuy2.size());
  for (std::size_t i = 0; i < yuy2.size(); ++i) {
    EXPECT_NEAR(static_cast<unsigned char>(kept.bytes[i]), static_cast<unsigned char>(yuy2[i]), 2) << i;
  }
}

TEST(MediaPipes, AnInputThatEndsEarlyIsReported) {
  const std::size_t frame = 320 * 240 * 3 / 2;
  const std::string whole = y4m("W320 H240 F25:1", frame, 2);
  for (const std::size_t missing : {std::size_t{1}, frame, frame + 3}) {
    const Passed passed = pass(whole.substr(0, whole.size() - missing), "");
    EXPECT_EQ(passed.result.frames, 1) << missing;
    EXPECT_THAT(passed.result.damage, ElementsAre(HasSubstr("ends in the middle of frame 2"))) << missing;
  }
  EXPECT_THAT(pass(noise(frame * 2 - 5), "nv12:320x240@25").result.damage, ElementsAre(HasSubstr("frame 2")));
  EXPECT_THAT(pass(whole + "OTHER\n", "").result.damage,
              ElementsAre(HasSubstr("continues after frame 2 with data that is not a Y4M frame")));
  EXPECT_THROW(pass(whole.substr(0, frame), ""), Error);
  EXPECT_THROW(pass("", "bgra:8x8@25"), Error);
  for (const char* header : {"RIFF", "YUV4MPEG2 W320 F25:1\n", "YUV4MPEG2 W99999999 H4\n", "YUV4MPEG2 W32 H32 C444\n",
                             "YUV4MPEG2 W32 H32 F25:1\nOTHER\n"}) {
    EXPECT_THROW(pass(header, ""), Error) << header;
  }
}

TEST(MediaPipes, RawFormatsAreReadStrictly) {
  const RawFormat format = parseRawFormat("yuyv422:1280x720@30000/1001");
  EXPECT_EQ(format.pixels, RawPixels::kYuy2);
  EXPECT_EQ(format.size, (Size{1280, 720}));
  EXPECT_EQ(format.rate.num * 1001, format.rate.den * 30000);
  for (const char* wrong :
       {"", "nv12", "nv12:1280x720", "nv12:1280@30", "nv12:0x720@30", "nv12:1280x720@0", "nv12:1280x720@-1", "nv12:1281x720@30",
        "nv12:1280x721@30", "yuy2:1281x720@30", "bgra:99999x9@30", "bgra:4x4@30x", "rgb48:4x4@30"}) {
    EXPECT_THROW(parseRawFormat(wrong), Error) << wrong;
  }
}

TEST(MediaPipes, AClipGoesIntoAPipe) {
  const tests::TemporaryFolder folder;
  const auto clip = folder.path() / "in.mp4";
  tests::ffmpeg("-f lavfi -i testsrc2=s=64x48:r=5:d=1 -pix_fmt yuv420p " + clip.string());
  Drained drained;
  const std::unique_ptr<Source> source = openSource(clip);
  const std::unique_ptr<Sink> sink = openPipeSink(drained.descriptor(), source->info(), source->info().size, "");
  run(*source, *sink, {});
  std::ofstream(folder.path() / "out.y4m", std::ios::binary) << drained.bytes();
  EXPECT_EQ(tests::peakSignalToNoise_db(folder.path() / "out.y4m", clip), 1000); // no codec in between: the same pixels
}

TEST(MediaPipes, CancellationDoesNotWaitForThePipe) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0); // nobody writes into it, nor ever closes it
  std::atomic<bool> cancelled = false;
  Drained drained;
  const std::unique_ptr<Source> source = openPipeSource(ends[0], {"bgra:8x8@25", false});
  const std::unique_ptr<Sink> sink = openPipeSink(drained.descriptor(), source->info(), source->info().size, "bgra:8x8@25");
  std::thread user([&] { cancelled = true; });
  EXPECT_TRUE(run(*source, *sink, {}, {&cancelled, {}}).cancelled);
  user.join();
  ::close(ends[0]);
  ::close(ends[1]);
}

} // namespace
} // namespace vorin::media
