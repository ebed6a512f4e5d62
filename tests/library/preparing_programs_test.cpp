// Programs that prepare a style, in folders of their own: where they find their package, where they unpack it, and what two of
// them do to each other.
#include "support/child_process.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace vorin::tests {
namespace {

// Its network takes a while to write and to read.
class PreparingProgramsTest : public testing::Test {
protected:
  static std::filesystem::path copyProgram(const std::filesystem::path& folder) {
    const std::filesystem::path program = VORIN_LIBRARY_HOST;
    std::filesystem::copy_file(program, folder / program.filename());
    return folder / program.filename();
  }

  static ChildProcess start(const std::filesystem::path& program, const std::string& package_folder, int rounds) {
    const std::u8string name = program.u8string();
    return {{std::string(name.begin(), name.end()), package_folder, std::to_string(rounds)}, {}};
  }

  // How many preparations of a program ended well; each that did gave the right picture, and each other one a status.
  static std::ptrdiff_t wellEnded(ChildProcess&& process, int rounds) {
    const ChildResult result = process.wait();
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    std::vector<std::string> lines = linesOf(result.standard_output);
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("exception: compile model"); });
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(rounds));
    const std::string right = "0 191"; // of an answer of 0.5
    EXPECT_THAT(lines, testing::Each(testing::AnyOf(right, "-4")));
    return std::count(lines.begin(), lines.end(), right);
  }

  // Programs that disturb each other's search for a writable folder go on to the next one.
  const LogSetting application_data_{0};

  static constexpr std::size_t kPadding = 8U << 20U;

  TestPackage package_{
      {networkFiles(kCartoon, FixedNetwork{.width = 1, .height = 1, .gain = 0, .bias = 0.5F, .padding_floats = kPadding / 4})}};
};

TEST_F(PreparingProgramsTest, FindTheirPackageBesideThemByThemselves) {
  const TemporaryFolder folder;
  const std::filesystem::path program = copyProgram(folder.path());
  EXPECT_EQ(wellEnded(start(program, "", 1), 1), 0);
  std::filesystem::copy_file(package_.folder() + "/model_st.bin", folder.path() / "model_st.bin");
  EXPECT_EQ(wellEnded(start(program, "", 1), 1), 1);
}

// On Windows the name is within the code page, whose bytes for it are not the inference runtime's.
TEST_F(PreparingProgramsTest, MayLieInAFolderWhoseNameIsNotAscii) {
  const TemporaryFolder folder;
  const std::filesystem::path own = folder.path() / u8"Gr\u00FC\u00DFe";
  std::filesystem::create_directory(own);
  // The second reads the first one's compiled network back.
  EXPECT_EQ(wellEnded(start(copyProgram(own), package_.folder(), 2), 2), 2);
  EXPECT_TRUE(std::filesystem::exists(own / "cache"));
}

// The unpacked files have the same names, so one program may find its file half-written or deleted by the other; that must end as
// a failed preparation, never as anything worse.
TEST_F(PreparingProgramsTest, TwoInOneFolderEachPreparationEndsWithAStatus) {
  const TemporaryFolder folder;
  const std::filesystem::path program = copyProgram(folder.path());
  ChildProcess left = start(program, package_.folder(), 12);
  ChildProcess right = start(program, package_.folder(), 12);
  wellEnded(std::move(left), 12); // how many there are is chance
  wellEnded(std::move(right), 12);
}

} // namespace
} // namespace vorin::tests
