// The diagnostic log: which sinks a switch opens, what a line looks like in each, what is dropped, when the file is flushed, and
// what an unusable folder does.
#include "core/log.h"
#include "platform/platform.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
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

TEST_F(Log, OpensTheSinksOfTheSwitchsTwoLowBits) {
  for (const std::uint32_t value : {0U, 1U, 2U, 3U, 4U, 7U}) {
    SCOPED_TRACE(value);
    const LogSetting setting(value);
    DebuggerOutput output;
    openLog();
    sttLogError("%s %d", "broken", 7);
    sttLogInfo("told");
    sttLogVerbose("chatted");
    closeLog();
    const bool debugger = value == 1 || value == 3 || value == 7;
    const bool file = value == 2 || value == 3 || value == 7;
    const std::string lines = "====== sdk: [E] broken 7\n====== sdk: [I] told\n====== sdk: [V] chatted\n";
    EXPECT_EQ(output.take(), debugger ? lines : "");
    EXPECT_EQ(std::filesystem::exists(setting.logFile()), file);
    EXPECT_EQ(readText(setting.logFile()), file ? lines : "");
  }
}

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
  const struct {
    std::string message;
    std::string in_file;
  } cases[] = {{"50%% done", "50% done"},
               {"%", "%"},
               {"%n %s %ls %S %c %*d %1$s %m %Q %9999d %.9999f %", "%n %s %ls %S %c %*d %1$s %m %Q %9999d %.9999f %"}};
  for (const auto& test : cases) {
    const LogSetting setting(3);
    DebuggerOutput output;
    openLog();
    sttLogInfo("%s", test.message.c_str());
    closeLog();
    EXPECT_EQ(output.take(), "====== sdk: [I] " + test.message + "\n");
    EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] " + test.in_file + "\n");
  }
  const LogSetting setting(2);
  openLog();
  sttLogInfo("%s", "%%% d %03lX %7.2e"); // numbers of no known value
  closeLog();
  const std::string written = readText(setting.logFile());
  EXPECT_TRUE(written.starts_with("====== sdk: [I] %")) << written;
  EXPECT_EQ(std::count(written.begin(), written.end(), '%'), 1) << written;
}

TEST_F(Log, CutsTheLongestTextsSoThatTheLineFits) {
  const std::string umlauts = "\u00FC\u00FC"; // two bytes each
  const struct {
    const char* format;
    std::vector<std::string> texts;
    std::string message; // 238 bytes at most
  } cases[] = {
      {"init error: %s", {std::string(226, 'x')}, "init error: " + std::string(226, 'x')},
      {"init error: %s", {std::string(227, 'x')}, "init error: " + std::string(223, 'x') + "..."},
      {"del %s success", {std::string(5000, 'x')}, "del " + std::string(223, 'x') + "... success"},
      {"error: %s", {std::string(225, 'x') + umlauts + "xyz"}, "error: " + std::string(225, 'x') + umlauts.substr(2) + "..."},
      {"error: %s", {std::string(227, 'x') + umlauts}, "error: " + std::string(227, 'x') + umlauts},
      {"error: %s", {std::string(227, 'x') + umlauts + "y"}, "error: " + std::string(227, 'x') + "..."},
      {"error: %s", {std::string(226, 'x') + "%%%%%%%"}, "error: " + std::string(226, 'x') + "..."},
      {"Device %s: %s", {"GPU.0", std::string(300, 'x')}, "Device GPU.0: " + std::string(221, 'x') + "..."},
      {"Device %s: %s",
       {std::string(300, 'x'), std::string(120, 'y')},
       "Device " + std::string(111, 'x') + "...: " + std::string(111, 'y') + "..."}};
  const LogSetting setting(1);
  openLog();
  for (const auto& test : cases) {
    DebuggerOutput output;
    if (test.texts.size() == 1) {
      logTexts(sttLogError, test.format, {test.texts[0]});
    } else {
      logTexts(sttLogError, test.format, {test.texts[0], test.texts[1]});
    }
    EXPECT_EQ(output.take(), "====== sdk: [E] " + test.message + "\n");
  }
}

TEST_F(Log, UsesAFolderThatExistsAndEmptiesTheFileAtEveryOpening) {
  const LogSetting setting(2);
  std::filesystem::create_directory(setting.appDataFolder() / "temp");
  openLog();
  sttLogInfo("first");
  closeLog();
  sttLogInfo("into no file");
  openLog();
  sttLogInfo("second");
  closeLog();
  EXPECT_EQ(readText(setting.logFile()), "====== sdk: [I] second\n");
}

TEST_F(Log, FlushesWithTheFirstLineAfterTwoSeconds) {
  if (platform::kPathSeparator == '\\') {
    GTEST_SKIP() << "Wine's C runtime writes each line at once";
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

TEST_F(Log, IsOffAltogetherWhereAFileIsInTheWayOfItsFolderOrAFolderOfItsFile) {
  for (const bool file_for_folder : {true, false}) {
    const LogSetting setting(3);
    if (file_for_folder) {
      std::ofstream(setting.appDataFolder() / "temp") << "in the way";
    } else {
      std::filesystem::create_directories(setting.logFile());
    }
    DebuggerOutput output;
    openLog();
    sttLogError("unheard");
    closeLog();
    EXPECT_EQ(output.take(), "") << file_for_folder;
  }
}

} // namespace
} // namespace vorin
