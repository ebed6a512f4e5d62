// The completion scripts of both programs, in bash itself.

#include "clip_command.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>

#include <fstream>

namespace vorin::tests {
namespace {

using testing::ElementsAre;

// What bash offers for the last of the words.
std::vector<std::string> offered(const std::string& program, const std::string& words, const std::filesystem::path& folder) {
  const std::string name = std::filesystem::path(program).filename().string();
  const std::string script = "set -u; source <(" + program + " completion bash) && COMP_WORDS=(" + name + " " + words +
                             "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMPREPLY=(); _" +
                             (name == "vorin-pack" ? "vorin_pack" : "vorin_stylize") + "; printf '%s\\n' \"${COMPREPLY[@]}\"";
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = folder;
  const ChildResult result = ChildProcess({"bash", "-c", script}, setting).wait();
  EXPECT_EQ(result.standard_error, "");
  return linesOf(result.standard_output);
}

TEST(BashCompletion, OffersWhatTheProgramsTake) {
  const StylizeRun run;
  std::filesystem::create_directory(run.folder() / "my folder");
  std::ofstream(run.file("my photo.jpg")).close();
  const std::string stylize = StylizeRun::program();
  const std::string pack = (std::filesystem::path(stylize).parent_path() / "vorin-pack").string();
  const auto offers = [&](const std::string& program, const std::string& words) { return offered(program, words, run.folder()); };
  EXPECT_THAT(offers(stylize, "--style ''"), ElementsAre("pencil", "stipple", "lightgrey", "cartoon", "transfer"));
  EXPECT_THAT(offers(stylize, "a.jpg --device so"), ElementsAre("software"));
  EXPECT_THAT(offers(stylize, "--style = p"), ElementsAre("pencil")); // bash takes --style=p apart
  EXPECT_THAT(offers(stylize, "--device ="), ElementsAre("auto", "integrated", "discrete", "software"));
  EXPECT_THAT(offers(stylize, "--style-image my"), testing::UnorderedElementsAre("my folder", "my photo.jpg"));
  for (const char* const option : {"--crf", "--raw", "--strength", "--size"}) {
    EXPECT_THAT(offers(stylize, std::string(option) + " ''"), ElementsAre("")) << option;
  }
  if (!stylize::clipExtensions().empty()) {
    EXPECT_THAT(offers(stylize, "--codec h"), ElementsAre("h264", "h265"));
  }
  EXPECT_THAT(offers(stylize, "--keep"), ElementsAre("--keep-colors"));
  EXPECT_THAT(offers(stylize, "sel"), ElementsAre("selftest"));
  EXPECT_THAT(offers(stylize, "my"), testing::UnorderedElementsAre("my folder", "my photo.jpg"));
  EXPECT_THAT(offers(stylize, "--overwrite my"), testing::UnorderedElementsAre("my folder", "my photo.jpg"));
  EXPECT_THAT(offers(stylize, "--models my"), ElementsAre("my folder"));
  EXPECT_THAT(offers(stylize, "info --m"), ElementsAre("--models"));
  EXPECT_THAT(offers(stylize, "info --st"), ElementsAre("")); // of the drawing alone
  EXPECT_THAT(offers(stylize, "completion ''"), ElementsAre("bash"));
  EXPECT_THAT(offers(pack, "build p.bin --as car"), ElementsAre("cartoon"));
  EXPECT_THAT(offers(pack, "ver"), ElementsAre("verify"));
}

} // namespace
} // namespace vorin::tests
