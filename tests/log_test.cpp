// The diagnostic log: which sinks a switch opens, what a line looks like in each, what is dropped, when the file is flushed, and
// what an unusable folder does.
#include "core/log.h"
#include "support/debugger_output.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>

namespace vorin {
namespace {

using tests::DebuggerOutput;
using tests::LogSetting;
using tests::readText;

class Log : public testing::Test {
protected:
  ~Log() override {
    closeLog();
    const LogSetting off(0);
    openLog();
  }
};

struct SwitchCase {
  std::uint32_t value;
  bool debugger;
  bool file;
};

class LogSwitch : public Log, public testing::WithParamInterface<SwitchCase> {};

TEST_P(LogSwitch, OpensTheSinksOfItsTwoLowBits) {
  const LogSetting setting(GetParam().value);
  DebuggerOutput output;
  openLog();
  sttLogError("%s %d", "broken", 7);
  sttLogInfo("told");
  sttLogVerbose("chatted");
  closeLog();
  const std::string lines = "====== sdk: [E] broken 7\n====== sdk: [I] told\n====== sdk: [V] chatted\n";
  EXPECT_EQ(output.take(), GetParam().debugger ? lines : "");
  EXPECT_EQ(std::filesystem::exists(setting.logFile()), GetParam().file);
  EXPECT_EQ(readText(setting.logFile()), GetParam().file ? lines : "");
}

INSTANTIATE_TEST_SUITE_P(Values, LogSwitch,
                         testing::Values(SwitchCase{0, false, false}, SwitchCase{1, true, false}, SwitchCase{2, false, true},
                                         SwitchCase{3, true, true}, SwitchCase{4, false, false}, SwitchCase{7, true, true}));

TEST_F(Log, KeepsItsSwitchWhereTheMachineHasNone) {
  {
    const LogSetting on(1);
    openLog();
  }
  const tests::Restoration none = tests::setLogSwitch(std::nullopt);
  DebuggerOutput output;
  openLog();
  sttLogInfo("still on");
  EXPECT_EQ(output.take(), "====== sdk: [I] still on\n");
}

TEST_F(Log, ExpandsALineOnceMoreInTheFileOnly) {
  const LogSetting setting(3);
  DebuggerOutput output;
  openLog();
  sttLogInfo("%s", "50%% done");
  closeLog();
  EXPECT_EQ(output.take(), "====== sdk: [I] 50%% done\n");
  EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] 50% done\n");
}

TEST_F(Log, TakesTheLongestLineThatFits) {
  const LogSetting setting(1);
  openLog();
  const std::string message(238, 'x'); // 255 characters and a NUL fill the line's buffer; 17 of them are not the message
  DebuggerOutput output;
  sttLogError("%s", message.c_str());
  EXPECT_EQ(output.take(), "====== sdk: [E] " + message + "\n");
}

TEST_F(Log, EmptiesTheFileAtEveryOpening) {
  const LogSetting setting(2);
  openLog();
  sttLogInfo("first");
  closeLog();
  sttLogInfo("into no file");
  openLog();
  sttLogInfo("second");
  closeLog();
  EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] second\n");
}

// Wine's C runtime writes each line at once, as MinGW's fprintf() hands it on.
bool runtimeKeepsLinesBack() {
  const tests::TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "probe";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.string().c_str(), "w"), std::fclose);
  static_cast<void>(std::fprintf(file.get(), "a line, %d\n", 1));
  return readText(path).empty();
}

TEST_F(Log, FlushesWithTheFirstLineAfterTwoSeconds) {
  if (!runtimeKeepsLinesBack()) {
    GTEST_SKIP() << "this system's C runtime writes each line at once";
  }
  const LogSetting setting(2);
  openLog();
  sttLogInfo("early");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  sttLogInfo("soon after");
  EXPECT_EQ(readText(setting.logFile()), "");
  std::this_thread::sleep_for(std::chrono::milliseconds(2050));
  sttLogInfo("late");
  EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] early\n====== sdk: [I] soon after\n====== sdk: [I] late\n");
  sttLogInfo("next");
  EXPECT_EQ(readText(setting.logFile()).find("next"), std::string::npos);
}

struct ObstacleCase {
  const char* description;
  const char* obstacle; // made as a file, or with a trailing "/" as a folder, below the application-data folder
};

class LogObstacle : public Log, public testing::WithParamInterface<ObstacleCase> {};

TEST_P(LogObstacle, TurnsAllLoggingOff) {
  const LogSetting setting(3);
  const std::string obstacle = GetParam().obstacle;
  if (obstacle.ends_with("/")) {
    std::filesystem::create_directories(setting.appDataFolder() / obstacle);
  } else {
    std::ofstream(setting.appDataFolder() / obstacle) << "in the way";
  }
  DebuggerOutput output;
  openLog();
  sttLogError("unheard");
  closeLog();
  EXPECT_EQ(output.take(), "") << GetParam().description;
}

INSTANTIATE_TEST_SUITE_P(Kinds, LogObstacle,
                         testing::Values(ObstacleCase{"a file where the folder should be", "temp"},
                                         ObstacleCase{"a folder where the file should be", "temp/logstt.txt/"}));

TEST_F(Log, UsesAFolderThatExists) {
  const LogSetting setting(2);
  std::filesystem::create_directory(setting.appDataFolder() / "temp");
  openLog();
  sttLogInfo("heard");
  closeLog();
  EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] heard\n");
}

} // namespace
} // namespace vorin
