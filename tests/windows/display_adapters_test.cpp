// The adapter scan through a stand-in for DXGI, and where DXGI may come from: a file of its name lies beside this program.
#include "core/devices.h"
#include "platform/windows/display_adapters.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <windows.h>

namespace vorin {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> variable(const char* name) {
  char value[64] = {};
  return ::GetEnvironmentVariableA(name, value, sizeof value) != 0 ? std::optional<std::string>(value) : std::nullopt;
}

fs::path besideThisProgram(const char* file) {
  return tests::programFile().parent_path() / file;
}

class DisplayAdapters : public testing::Test {
protected:
  DisplayAdapters() {
    ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS_OPEN", nullptr);
    ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS_LOADED", nullptr);
  }
  // Every library is unloaded and every object released, whatever the scan met.
  ~DisplayAdapters() override {
    EXPECT_EQ(::GetModuleHandleW(besideThisProgram("dxgi.dll").c_str()), nullptr);
    EXPECT_EQ(variable("VORIN_TEST_ADAPTERS_OPEN").value_or("0"), "0");
  }

  static std::vector<platform::DisplayAdapter> list(const char* adapters, const char* library = "dxgi.dll") {
    ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS", adapters);
    return platform::listDisplayAdaptersThrough(besideThisProgram(library).c_str());
  }
};

TEST_F(DisplayAdapters, AreScannedByVendorAndMemory) {
  const struct {
    const char* adapters;
    std::uint32_t integrated;
    std::uint32_t discrete;
  } cases[] = {{"", 0, 0},
               {"7a3c:46a6:128 1234:1:8192 7a3c:56a0:8192", 0x46A6, 0x56A0},
               {"7a3c:11:0 7a3c:12:1 7a3c:21:1024 7a3c:22:8192", 0x12, 0x22},
               {"silent 7a3c:56a0:8192 silent", 0, 0x56A0},
               {"none", 0, 0}};
  for (const auto& test : cases) {
    const AdapterIds ids = scanAdapters(list(test.adapters));
    EXPECT_TRUE(variable("VORIN_TEST_ADAPTERS_LOADED")) << test.adapters;
    EXPECT_EQ(ids.integratedAdapterId, test.integrated) << test.adapters;
    EXPECT_EQ(ids.discreteAdapterId, test.discrete) << test.adapters;
  }
}

TEST_F(DisplayAdapters, AreListedThroughTheOldEntryWhereTheNewOneIsMissing) {
  EXPECT_EQ(list("7a3c:46a6:128", "dxgi_old_entry.dll").size(), 1U);
}

TEST_F(DisplayAdapters, AreNoneWithoutEntryOrLibrary) {
  EXPECT_TRUE(platform::listDisplayAdaptersThrough(L"version.dll").empty()); // a library of the system's with other entries
  EXPECT_TRUE(list("7a3c:46a6:128", "no_such.dll").empty());
}

TEST_F(DisplayAdapters, NeverRunALibraryOfTheProgramsOrTheCurrentFolder) {
  ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS", "7a3c:46a6:128");
  const tests::TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::copy_file(besideThisProgram("dxgi.dll"), folder.path() / "dxgi.dll");
  fs::current_path(folder.path());

  for (const platform::DisplayAdapter& adapter : platform::listDisplayAdapters()) {
    EXPECT_NE(adapter.device_id, 0x46A6U);
  }
  EXPECT_FALSE(variable("VORIN_TEST_ADAPTERS_LOADED"));
  // The trap is live: the system's ordinary search runs the planted library.
  const HMODULE planted = ::LoadLibraryW(L"dxgi.dll");
  EXPECT_TRUE(variable("VORIN_TEST_ADAPTERS_LOADED"));
  ::FreeLibrary(planted);

  fs::current_path(before);
}

} // namespace
} // namespace vorin
