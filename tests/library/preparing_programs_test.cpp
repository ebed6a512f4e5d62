// Programs that prepare a style, in folders of their own: where they find their package, where they unpack it, and what two of
// them do to each other.
#include "support/child_process.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

namespace vorin::tests {
namespace {

constexpr int kRounds = 12;

// Its network takes a while to write and to read.
class PreparingProgramsTest : public testing::Test {
protected:
  static std::filesystem::path copyProgram(const std::filesystem::path& folder) {
    const std::filesystem::path program = VORIN_PREPARE_STYLE;
    std::filesystem::copy_file(program, folder / program.filename());
    return folder / program.filename();
  }

  static std::vector<std::string> command(const std::filesystem::path& program, const std::string& package_folder,
                                          int rounds = kRounds) {
    const std::u8string name = program.u8string();
    return {std::string(name.begin(), name.end()), package_folder, std::to_string(rounds)};
  }

  // How many preparations of a program ended well; each that did gave the right picture, and each other one a status.
  static int wellEnded(ChildProcess& process, int rounds = kRounds) {
    const ChildResult result = process.wait();
    EXPECT_EQ(result.exit_status, 0) << result.standard_error;
    int lines = 0;
    int well = 0;
    for (const std::string& line : linesOf(result.standard_output)) {
      if (line.starts_with("exception: compile model")) {
        continue;
      }
      ++lines;
      if (line == "0 " + std::to_string(kGrey)) {
        ++well;
      } else {
        EXPECT_EQ(line, "-4");
      }
    }
    EXPECT_EQ(lines, rounds);
    return well;
  }

  // Programs that disturb each other's search for a writable folder go on to the next one.
  const LogSetting application_data_{0};

  static constexpr int kGrey = 191; // of an answer of 0.5
  static constexpr std::size_t kPadding = 8U << 20U;

  TestPackage package_{
      {networkFiles(kCartoon, FixedNetwork{.width = 1, .height = 1, .gain = 0, .bias = 0.5F, .padding_floats = kPadding / 4})}};
};

TEST_F(PreparingProgramsTest, FindTheirPackageBesideThemByThemselves) {
  const TemporaryFolder folder;
  const std::filesystem::path program = copyProgram(folder.path());
  ChildProcess without_package(command(program, "", 1), {});
  EXPECT_EQ(wellEnded(without_package, 1), 0);
  std::filesystem::copy_file(package_.folder() + "/model_st.bin", folder.path() / "model_st.bin");
  ChildProcess with_package(command(program, "", 1), {});
  EXPECT_EQ(wellEnded(with_package, 1), 1);
}

// On Windows the name is within the code page, whose bytes for it are not the inference runtime's.
TEST_F(PreparingProgramsTest, MayLieInAFolderWhoseNameIsNotAscii) {
  const TemporaryFolder folder;
  const std::filesystem::path own = folder.path() / u8"Gr\u00FC\u00DFe";
  std::filesystem::create_directory(own);
  ChildProcess process(command(copyProgram(own), package_.folder(), 2),
                       {}); // the second reads the first one's compiled network back
  EXPECT_EQ(wellEnded(process, 2), 2);
  EXPECT_TRUE(std::filesystem::exists(own / "cache"));
}

// The unpacked files have the same names, so one program may find its file half-written or deleted by the other; that must end as
// a failed preparation, never as anything worse.
TEST_F(PreparingProgramsTest, TwoInOneFolderEachPreparationEndsWithAStatus) {
  const TemporaryFolder folder;
  const std::filesystem::path program = copyProgram(folder.path());
  ChildProcess left(command(program, package_.folder()), {});
  ChildProcess right(command(program, package_.folder()), {});
  wellEnded(left); // how many there are is chance
  wellEnded(right);
}

} // namespace
} // namespace vorin::tests
