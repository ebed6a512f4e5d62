// vorin-stylize on Windows: the system's decoders, the code page, and a software device without filters.
#include "files.h"
#include "sources_and_sinks.h"
#include "support/media_way.h"
#include "support/stylize_run.h"
#include "support/test_networks.h"

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

} // namespace
} // namespace vorin::tests
