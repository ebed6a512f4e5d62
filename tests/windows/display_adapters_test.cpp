// The adapter scan through a stand-in for DXGI, and where DXGI may come from: a file of its name lies beside this program.
#include "platform/windows/display_adapters.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace vorin {
namespace {

using namespace tests;

std::optional<std::string> variable(const char* name) {
  char value[64] = {};
  return ::GetEnvironmentVariableA(name, value, sizeof value) != 0 ? std::optional<std::string>(value) : std::nullopt;
}

fs::path besideThisProgram(const char* file) {
  return programFile().parent_path() / file;
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

TEST_F(DisplayAdapters, AreListedInTheirOrderWithTheirWholeMemory) {
  const auto adapters = list("silent 1234:1:0 silent 7a3c:56a0:65536");
  EXPECT_TRUE(variable("VORIN_TEST_ADAPTERS_LOADED"));
  ASSERT_EQ(adapters.size(), 2U);
  EXPECT_EQ(adapters[0].vendor_id, 0x1234U);
  EXPECT_EQ(adapters[1].device_id, 0x56A0U);
  EXPECT_EQ(adapters[1].dedicated_memory_bytes, 65536ULL << 20);
  EXPECT_TRUE(list("").empty());
  EXPECT_TRUE(list("none").empty());
}

TEST_F(DisplayAdapters, AreListedThroughTheOldEntryAndAreNoneWithoutEntryOrLibrary) {
  EXPECT_EQ(list("7a3c:46a6:128", "dxgi_old_entry.dll").size(), 1U);
  EXPECT_TRUE(platform::listDisplayAdaptersThrough(L"version.dll").empty()); // a library of the system's with other entries
  EXPECT_TRUE(list("7a3c:46a6:128", "no_such.dll").empty());
}

TEST_F(DisplayAdapters, NeverRunALibraryOfTheProgramsOrTheCurrentFolder) {
  ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS", "7a3c:46a6:128");
  const TemporaryFolder folder;
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
