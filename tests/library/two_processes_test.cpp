// Two programs that share a writable folder and prepare at the same time. The unpacked files have the same names, so one program
// may find its file half-written or deleted by the other; that must end as a failed preparation, never as anything worse.
#include "support/child_process.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>

namespace vorin::tests {
namespace {

constexpr int kRounds = 12;

// A program in a folder of its own. Its network takes a while to write and to read.
class TwoProcessesTest : public testing::Test {
protected:
  std::filesystem::path copyProgram(const TemporaryFolder& folder) {
    const std::filesystem::path program = VORIN_PREPARE_STYLE;
    std::filesystem::copy_file(program, folder.path() / program.filename());
    return folder.path() / program.filename();
  }

  std::vector<std::string> command(const std::filesystem::path& program) const {
    return {program.string(), package_.folder(), std::to_string(kRounds)};
  }

  // How many preparations of a program ended well; each that did gave the right picture, and each other one a status.
  static int wellEnded(ChildProcess& process) {
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
    EXPECT_EQ(lines, kRounds);
    return well;
  }

  // Programs that disturb each other's search for a writable folder go on to the next one.
  const LogSetting application_data_{0};

  static constexpr int kGrey = 191; // of an answer of 0.5
  static constexpr std::size_t kPadding = 8U << 20U;

  TestPackage package_{
      {networkFiles(kCartoon, FixedNetwork{.width = 1, .height = 1, .gain = 0, .bias = 0.5F, .padding_floats = kPadding / 4})}};
};

TEST_F(TwoProcessesTest, InFoldersOfTheirOwnBothEndWell) {
  const TemporaryFolder left_folder;
  const TemporaryFolder right_folder;
  ChildProcess left(command(copyProgram(left_folder)), {});
  ChildProcess right(command(copyProgram(right_folder)), {});
  EXPECT_EQ(wellEnded(left), kRounds);
  EXPECT_EQ(wellEnded(right), kRounds);
}

TEST_F(TwoProcessesTest, InOneFolderEachPreparationEndsWithAStatus) {
  const TemporaryFolder folder;
  const std::filesystem::path program = copyProgram(folder);
  ChildProcess left(command(program), {});
  ChildProcess right(command(program), {});
  wellEnded(left); // how many there are is chance
  wellEnded(right);
}

} // namespace
} // namespace vorin::tests
