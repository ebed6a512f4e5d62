// The log's dealings with Windows: the switch in the registry as other programs write it, the place and the form of the file, and
// what the C runtime makes of a text that does not fit.
#include "core/log.h"
#include "platform/platform.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace vorin {
namespace {

constexpr const char* kLogKey = "Software\\Merix\\Tolvk\\Debug";

void writeSwitch(DWORD type, const std::string& bytes) {
  const auto size_bytes = static_cast<DWORD>(bytes.size());
  const LSTATUS status = ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, kLogKey, "DumpSTLog", type, bytes.data(), size_bytes);
  ASSERT_EQ(status, 0);
}

class LogOnWindows : public testing::Test {
protected:
  ~LogOnWindows() override {
    const tests::LogSetting off(0);
    openLog();
  }

  const tests::LogSetting setting_{2};
};

TEST_F(LogOnWindows, SwitchMayBeOfAnyTypeThatFitsIntoFourBytes) {
  const struct {
    DWORD type;
    std::string bytes;
    std::optional<std::uint32_t> number;
  } cases[] = {{REG_BINARY, {'\2', '\0', '\0', '\0'}, 2},
               {REG_BINARY, {'\3'}, 3},
               {REG_SZ, {'1', '\0'}, 0x31},
               {REG_QWORD, std::string(8, '\1'), std::nullopt},
               {REG_SZ, {'0', 'x', '0', '1', '\0'}, std::nullopt}};
  for (const auto& test : cases) {
    writeSwitch(test.type, test.bytes);
    EXPECT_EQ(platform::readLogSwitch(), test.number) << test.type << ", " << test.bytes.size();
  }
}

TEST_F(LogOnWindows, FileIsBelowTheApplicationDataAndHasLinesOfText) {
  for (const char* run : {"makes the folder", "finds the folder"}) {
    openLog();
    sttLogInfo("%s", run);
    closeLog();
    EXPECT_EQ(tests::readFile(setting_.logFile()), std::string("====== sdk: [I] ") + run + "\r\n");
  }
}

bool format(std::string& buffer, const char* text, ...) {
  std::va_list arguments;
  va_start(arguments, text);
  const bool fits = platform::formatBounded(buffer.data(), 8, text, arguments);
  va_end(arguments);
  return fits;
}

TEST(BoundedText, StaysInItsBuffer) {
  std::string buffer(16, '#');
  EXPECT_TRUE(format(buffer, "%s", "1234567"));
  EXPECT_STREQ(buffer.c_str(), "1234567");
  for (const char* text : {"12345678", "123456789012345678901234567890"}) {
    buffer.assign(16, '#');
    EXPECT_FALSE(format(buffer, "%s", text));
    EXPECT_EQ(buffer.substr(8), "########");
    platform::copyBounded(buffer.data(), 8, text);
    EXPECT_STREQ(buffer.c_str(), "");
    EXPECT_EQ(buffer.substr(8), "########");
  }
  platform::copyBounded(buffer.data(), 8, "1234567");
  EXPECT_STREQ(buffer.c_str(), "1234567");
}

} // namespace
} // namespace vorin
