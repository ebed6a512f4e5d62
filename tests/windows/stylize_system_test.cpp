// vorin-stylize on Windows: the system's decoders, the code page, and a software device without filters.
#include "files.h"
#include "sources_and_sinks.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"
#include "text.h"

#include <gtest/gtest.h>

namespace vorin::tests {
namespace {

// Stand-ins that are said to be active but show no GPU must not make the program start itself again and again.
TEST(StylizeOnWindows, NeverStartsItselfTwice) {
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.variables["VORIN_SOFTGPU"] = std::string("1");
  expectFailure(StylizeRun().restyle({"--style", "pencil"}, setting), 4, "");
}

// These bytes are a whole WebP file as far as its structure goes. Windows has a decoder only where the user has installed one.
TEST(StylizeOnWindows, FormatWithoutADecoderIsNamedAsSuch) {
  const StylizeRun run;
  const std::string head("RIFF\x2C\0\0\0WEBPVP8L\x20\0\0\0\x2F\x3C\x80\x0B\0", 25);
  writeFile(run.file("photo.webp"), head + std::string(52 - head.size(), '1'));
  const std::string said = media::errorOf([&] { media::openImageSource(run.file("photo.webp")); }).what();
  EXPECT_NE(said.find("no decoder"), std::string::npos) << said;
}

// The tests have no manifest, so their code page is the system's, 1252 in these; the program's is UTF-8.
TEST(StylizeOnWindows, PathsBeyondTheCodePageAreNoNarrowText) {
  EXPECT_EQ(base::narrowText(L"c:\\models"), "c:\\models");
  EXPECT_EQ(base::narrowText(L"M\u00F6we"), "M\xF6we");
  EXPECT_EQ(base::narrowText(L"\u96EA"), std::nullopt);
  EXPECT_EQ(base::narrowText(L"\u03B1"), std::nullopt); // not the "a" that looks alike
}

TEST(StylizeOnWindows, ModelsMayLieInAFolderOfAnyName) {
  const StylizeRun run;
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  std::filesystem::create_directory(run.folder() / u8"雪 мо");
  std::filesystem::copy_file(package.folder() + "/model_st.bin", run.folder() / u8"雪 мо" / "model_st.bin");
  ChildSetting setting = StylizeRun::withGpu();
  setting.working_folder = run.folder();
  const ChildResult result =
      StylizeRun::run({run.image("photo.png"), "-o", "out.png", "--style", "cartoon", "--models", "雪 мо"}, setting);
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
}

// The process that is a software device reads it, from its begin.
TEST(StylizeOnWindows, APipeGoesToTheProcessThatRestyles) {
  const StylizeRun run;
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const std::string line =
      "ffmpeg -v error -f lavfi -i testsrc2=s=64x48:r=5:d=1 -pix_fmt yuv420p -f yuv4mpegpipe - | $0 - -o - -q "
      "--style cartoon --device software --models " +
      package.folder() + " | ffmpeg -v error -i - -f framemd5 -";
  const ChildResult result = ChildProcess({"/bin/sh", "-c", line, StylizeRun::program()}, StylizeRun::withoutGpu()).wait();
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_error, "");
  EXPECT_NE(result.standard_output.find("\n0,          4,"), std::string::npos) << result.standard_output; // the fifth frame
}

// The path of the clip has 380 letters, of three alphabets.
TEST(StylizeOnWindows, AClipMayHaveALongNameOfAnyLetters) {
  const StylizeRun run;
  ffmpeg("-f lavfi -i testsrc2=s=64x48:r=5:d=1 -f lavfi -i sine=d=1 -c:v libx264 -c:a aac " + run.file("in.mp4"));
  fs::path folder = run.folder();
  for (int i = 0; i < 7; ++i) {
    folder /= base::pathFromUtf8("Größe und Länge einer Möwe, чайка und 雪 im Winter");
  }
  fs::create_directories(folder);
  fs::rename(run.file("in.mp4"), folder / base::pathFromUtf8("Möwe 雪.mp4"));
  const fs::path output = folder / base::pathFromUtf8("gemalt 雪.mkv");
  const ChildResult result = StylizeRun::run(
      {base::utf8Text(folder / base::pathFromUtf8("Möwe 雪.mp4")), "-o", base::utf8Text(output), "--style", "pencil"});
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_NE(result.standard_error.find("gemalt 雪.mkv: 64x48, pencil, 5 frames"), std::string::npos) << result.standard_error;
  fs::rename(output, run.file("out.mkv"));
  EXPECT_EQ(frameTimes(run.file("out.mkv")).size(), 5U);
  EXPECT_NE(packetHashes(run.file("out.mkv"), 'a'), "");
}

} // namespace
} // namespace vorin::tests
