// Folders and names of Windows: the probe of a folder, and what the ANSI code page does to names.
#include "platform/platform.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <windows.h>

namespace vorin {
namespace {

using namespace tests;

class Paths : public testing::Test {
protected:
  std::string below(const std::string& name) const { return folder_.string() + "\\" + name; }

  const TemporaryFolder temporary_;
  const fs::path folder_ = temporary_.path();
};

TEST_F(Paths, ProbeReplacesAFileAndLeavesNothing) {
  const std::string probe = below("vorin989.tes");
  EXPECT_TRUE(platform::canCreateAndDelete(probe));
  std::ofstream(probe) << "left by another program";
  EXPECT_TRUE(platform::canCreateAndDelete(probe));
  EXPECT_TRUE(platform::canCreateAndDelete(below("\\vorin989.tes"))); // as below a temporary folder, which ends in a separator
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(Paths, ProbeFailsWhereItCannotBeMadeOrDeleted) {
  const std::string probe = below("vorin989.tes");
  EXPECT_FALSE(platform::canCreateAndDelete(below("none\\vorin989.tes")));
  for (const DWORD sharing : {DWORD{0}, DWORD{FILE_SHARE_READ}, DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE}}) {
    HANDLE other = ::CreateFileA(probe.c_str(), GENERIC_READ, sharing, nullptr, CREATE_ALWAYS, 0, nullptr);
    EXPECT_FALSE(platform::canCreateAndDelete(probe)) << sharing;
    ::CloseHandle(other);
    EXPECT_TRUE(platform::canCreateAndDelete(probe));
  }
  fs::create_directory(probe);
  EXPECT_FALSE(platform::canCreateAndDelete(probe));
}

TEST_F(Paths, WritabilityIsThatOfTheName) {
  EXPECT_TRUE(platform::isWritable(folder_.wstring()));
  EXPECT_FALSE(platform::isWritable((folder_ / "none").wstring()));
  const std::string file = below("file");
  std::ofstream(file) << "content";
  EXPECT_TRUE(platform::isWritable(platform::toWide(file)));
  ::SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(platform::isWritable(platform::toWide(file)));
  ::SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

// The tests run with a code page of Western Europe, in which "\xFC" is U+00FC.
class CodePage : public Paths {
protected:
  void SetUp() override { ASSERT_EQ(::GetACP(), 1252U); }
};

constexpr const wchar_t* kWide = L"Gr\u00FC\u00DFe";
constexpr const char* kNarrow = "Gr\xFC\xDF\x65";

TEST_F(CodePage, ConvertsWhatItHasAndReplacesWhatItLacks) {
  EXPECT_EQ(platform::toWide(kNarrow), kWide);
  EXPECT_EQ(platform::toNarrow(std::wstring(kWide) + L" \u20AC"), std::string(kNarrow) + " \x80");
  EXPECT_EQ(platform::toNarrow(L"\u6F22"), "?");
  EXPECT_EQ(platform::toNarrow(L"\u0101"), "a"); // the nearest
  EXPECT_EQ(platform::toUtf8(kNarrow), "Gr\u00FC\u00DFe");
  EXPECT_TRUE(platform::toWide("").empty() && platform::toNarrow(L"").empty());
}

TEST_F(CodePage, ReachesFilesByTheNamesThatItHasAndOthersByTheirWideNameOnly) {
  std::ofstream(folder_ / kWide) << "content";
  EXPECT_TRUE(platform::exists(below(kNarrow)));
  const std::wstring wide = (folder_ / L"\u6F22\u5B57.bin").wstring();
  std::ofstream(fs::path(wide)) << "content";
  std::FILE* const file = platform::openBinaryForReading(wide);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::fclose(file), 0);
  EXPECT_TRUE(platform::isWritable(wide));
  const std::string narrow = platform::toNarrow(wide);
  EXPECT_EQ(narrow, below("??.bin"));
  EXPECT_FALSE(platform::exists(narrow));
  EXPECT_EQ(platform::createBinary(narrow), nullptr); // "?" may be in no name
}

} // namespace
} // namespace vorin
