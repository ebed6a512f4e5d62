// The log's dealings with Windows: the switch in the registry as other programs write it, the place and the form of the file, the
// test of its folder, and what the C runtime makes of a text that does not fit.
#include "core/log.h"
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <windows.h>

namespace vorin {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLogKey = "Software\\Merix\\Tolvk\\Debug";
constexpr const char* kFoldersKey = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

void writeSwitch(DWORD type, const std::string& bytes) {
  const auto size_bytes = static_cast<DWORD>(bytes.size());
  const LSTATUS status = ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, kLogKey, "DumpSTLog", type, bytes.data(), size_bytes);
  ASSERT_EQ(status, 0);
}

std::string bytesOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Runs with an application-data folder of its own; this program has a Wine prefix, and so a registry, of its own.
class LogOnWindows : public testing::Test {
protected:
  LogOnWindows() {
    fs::create_directory(data_);
    const std::string path = data_.string();
    ::RegSetKeyValueA(HKEY_CURRENT_USER, kFoldersKey, "Local AppData", REG_SZ, path.c_str(), static_cast<DWORD>(path.size() + 1));
  }
  ~LogOnWindows() override {
    closeLog();
    writeSwitch(REG_DWORD, std::string(4, '\0'));
    openLog();
    ::RegDeleteTreeA(HKEY_LOCAL_MACHINE, kLogKey);
    ::RegDeleteKeyValueA(HKEY_CURRENT_USER, kFoldersKey, "Local AppData");
    fs::remove_all(data_);
  }

  fs::path data_ = fs::temp_directory_path() / ("vorin-log-" + std::to_string(::GetCurrentProcessId()));
  fs::path file_ = data_ / "temp" / "logstt.txt";
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
  writeSwitch(REG_DWORD, {'\2', '\0', '\0', '\0'});
  for (const char* run : {"makes the folder", "finds the folder"}) {
    openLog();
    sttLogInfo("%s", run);
    closeLog();
    EXPECT_EQ(bytesOf(file_), std::string("====== sdk: [I] ") + run + "\r\n");
  }
}

TEST_F(LogOnWindows, FolderTestAndFileTakeTheSeparatorsThatTheLogGives) {
  const std::string folder = data_.string() + "\\temp\\";
  EXPECT_FALSE(platform::isFolder(folder));
  EXPECT_TRUE(platform::makeFolder(folder));
  EXPECT_TRUE(platform::isFolder(folder));
  EXPECT_FALSE(platform::makeFolder(folder)); // exists: had the test failed, the log would be off
  std::FILE* const file = platform::openTextForWriting(folder + "\\logstt.txt");
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(fs::exists(file_));
  EXPECT_EQ(std::fclose(file), 0);
  EXPECT_FALSE(platform::isFolder(file_.string() + "\\"));
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
