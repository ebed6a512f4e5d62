// Raw and Y4M pipes: real ones, with another thread at the other end.
#include "clip_formats.h"
#include "sources_and_sinks.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/package_bytes.h"
#include "support/system.h"
#include "support/test_environment.h"
#include "terminal.h"

#include <gmock/gmock.h>

#include <thread>

namespace vorin::media {
namespace {

using namespace tests;
using testing::ElementsAre;
using testing::HasSubstr;

const std::atomic<bool> never = false;

// A pipe that is filled with the text, in portions of an odd length, until nobody reads it.
class FedPipe {
public:
  explicit FedPipe(const std::string& text)
      : feeder_([this, text] {
          constexpr std::size_t kPortion_bytes = 7919;
          const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
          for (std::size_t done = 0; done < bytes.size() && !is_over_; done += kPortion_bytes) {
            base::writeOutput(pipe_.writeEnd(), bytes.subspan(done, std::min(kPortion_bytes, bytes.size() - done)), is_over_);
          }
          pipe_.closeWriteEnd();
        }) {}
  ~FedPipe() {
    is_over_ = true;
    feeder_.join();
  }
  FedPipe(const FedPipe&) = delete;
  FedPipe& operator=(const FedPipe&) = delete;

  int descriptor() const { return pipe_.readEnd(); }

private:
  SystemPipe pipe_;
  std::atomic<bool> is_over_ = false;
  std::thread feeder_;
};

// A pipe whose bytes are collected.
class ReadPipe {
public:
  ReadPipe()
      : reader_([this] {
          std::array<std::uint8_t, 4099> portion{};
          while (const std::size_t bytes = base::readInput(pipe_.readEnd(), portion, never)) {
            bytes_.append(portion.begin(), portion.begin() + static_cast<std::ptrdiff_t>(bytes));
          }
        }) {}
  ~ReadPipe() { collect(); }
  ReadPipe(const ReadPipe&) = delete;
  ReadPipe& operator=(const ReadPipe&) = delete;

  int descriptor() const { return pipe_.writeEnd(); }

  // All bytes; closes the pipe.
  const std::string& collect() {
    pipe_.closeWriteEnd();
    if (reader_.joinable()) {
      reader_.join();
    }
    return bytes_;
  }

private:
  SystemPipe pipe_;
  std::string bytes_;
  std::thread reader_;
};

struct Passed {
  std::string bytes;
  RunResult result;
};

// raw: empty for Y4M.
Passed pass(
    const std::string& input, const std::string& raw, const std::function<void(Picture&)>& change = [](Picture&) {}) {
  const FedPipe in(input);
  ReadPipe out;
  const std::unique_ptr<Source> source = openPipeSource(in.descriptor(), {raw, false});
  const std::unique_ptr<Sink> sink = openPipeSink(out.descriptor(), source->info(), source->info().size, raw);
  FunctionEffect effect(change);
  const RunResult result = run(*source, *sink, std::array<Effect*, 1>{&effect});
  return {out.collect(), result};
}

std::string y4m(const std::string& parameters, std::size_t frame_bytes, int frames) {
  std::string bytes = "YUV4MPEG2 " + parameters + "\n";
  for (int i = 0; i < frames; ++i) {
    bytes += "FRAME\n" + randomBytes(frame_bytes, 7);
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
  for (const auto& [raw, frame_bytes] : {std::pair("bgra:33x17@25", 33 * 17 * 4U),
                                         {"bgr24:33x17@25", 33 * 17 * 3U},
                                         {"nv12:34x18@29.97", 34 * 18 * 3 / 2U},
                                         {"bgr24:1x1@1", 3U}}) {
    const std::string input = randomBytes(frame_bytes * 5, 7);
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
  EXPECT_THAT(pass(randomBytes(frame * 2 - 5, 7), "nv12:320x240@25").result.damage, ElementsAre(HasSubstr("frame 2")));
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
  const TemporaryFolder folder;
  const auto clip = folder.path() / "in.mp4";
  const auto output = folder.path() / "out.y4m";
  ffmpeg("-f lavfi -i testsrc2=s=64x48:r=5:d=1 -pix_fmt yuv420p " + clip.string());
  ReadPipe out;
  const std::unique_ptr<Source> source = openSource(clip);
  run(*source, *openPipeSink(out.descriptor(), source->info(), source->info().size, ""), {});
  writeFile(output, out.collect());
  EXPECT_EQ(peakSignalToNoise_db(output, clip), kNoNoise_db); // no codec in between
}

TEST(MediaPipes, CancellationDoesNotWaitForThePipe) {
  const SystemPipe pipe; // nobody writes into it, nor ever closes it
  std::atomic<bool> cancelled = false;
  const std::unique_ptr<Source> source = openPipeSource(pipe.readEnd(), {"bgra:8x8@25", false});
  const std::unique_ptr<Sink> sink = openPipeSink(pipe.writeEnd(), source->info(), source->info().size, "bgra:8x8@25");
  std::thread user([&] { cancelled = true; });
  EXPECT_TRUE(run(*source, *sink, {}, {&cancelled, {}}).cancelled);
  user.join();
}

TEST(MediaPipes, WritingIntoAFullPipeIsInterrupted) {
  const SystemPipe full; // nobody reads it
  const std::vector<std::uint8_t> bytes(std::size_t{1} << 22U);
  std::atomic<bool> cancelled = false;
  std::thread user([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    cancelled = true;
  });
  EXPECT_FALSE(base::writeOutput(full.writeEnd(), bytes, cancelled));
  user.join();
}

} // namespace
} // namespace vorin::media
