// The folder that the library writes to: which of the candidates, what is made and logged on the way, and that no probe stays
// behind. A folder in place of the probe file makes a candidate unusable, for root too.
#include "platform/platform.h"
#include "support/child_process.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <set>
#include <thread>

namespace vorin {
namespace {

using namespace tests;

class WritableFolder : public testing::Test {
protected:
  WritableFolder() {
    for (const fs::path& folder : {program(), data(), temporary()}) {
      fs::create_directory(folder);
    }
    fs::copy_file(VORIN_LIBRARY_HOST, host());
  }

  fs::path program() const { return folder_.path() / "program"; }
  fs::path host() const { return program() / fs::path(VORIN_LIBRARY_HOST).filename(); }
  fs::path data() const { return folder_.path() / "data"; }
  fs::path temporary() const { return folder_.path() / "temporary"; }

  static fs::path obstacle(const fs::path& folder) { return folder / "vorin989.tes"; }
  static void block(const fs::path& folder) { fs::create_directory(obstacle(folder)); }

  ChildProcess start(const fs::path& data_folder, const std::string& temporary_folder, const fs::path& host_file = {}) {
    application_data_.reset(); // in this order, or the old one would put back what the new one changed
    application_data_ = setAppDataFolder(data_folder);
    ChildSetting setting;
    setting.variables = {{kTemporaryFolderVariable, temporary_folder}};
    return {{(host_file.empty() ? host() : host_file).string()}, setting};
  }

  // Expects the folder as result, and these lines before the last one, which names it.
  static void expectResult(ChildProcess& process, const std::string& folder, const std::string& lines = "") {
    const ChildResult result = process.wait();
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.standard_output, folder + "\n");
    EXPECT_EQ(result.standard_error, lines + "====== sdk: [I] getWritableFolder: " + folder + "\n");
  }

  // Expects the folder, and expects no call to leave more behind than the given names below the test's folder.
  void expectFolder(const std::string& folder, const std::set<std::string>& files_after, const std::string& lines = "") {
    ChildProcess process = start(data(), temporary().string());
    expectResult(process, folder, lines);
    std::set<std::string> names;
    for (const auto& [name, content] : contentOf(folder_.path())) {
      names.insert(name);
    }
    std::set<std::string> expected = files_after;
    expected.insert({"program", "program/" + host().filename().string(), "data", "temporary"});
    EXPECT_EQ(names, expected);
  }

  const std::string separator_{platform::kPathSeparator};

  TemporaryFolder folder_;
  const Restoration log_ = setLogSwitch(1);
  Restoration application_data_;
};

TEST_F(WritableFolder, IsTheProgramsOwnFirst) {
  expectFolder(program().string(), {});
}

TEST_F(WritableFolder, IsBelowTheApplicationDataSecond) {
  block(program());
  const std::set<std::string> files = {"program/vorin989.tes", "data/Merix", "data/Merix/VORIN"};
  expectFolder((data() / "Merix" / "VORIN").string(), files);
  expectFolder((data() / "Merix" / "VORIN").string(), files); // made already
}

TEST_F(WritableFolder, KeepsItsResultWhereAFolderCannotBeMade) {
  block(program());
  std::ofstream(data() / "Merix") << "a file, where the folder should be";
  const std::string folder = (data() / "Merix" / "VORIN").string();
  expectFolder(folder, {"program/vorin989.tes", "data/Merix"}, "====== sdk: [E] make dir failed: " + folder + "\n");
}

TEST_F(WritableFolder, IsTheTemporaryFolderThird) {
  block(program());
  block(data());
  expectFolder(temporary().string() + separator_, {"program/vorin989.tes", "data/vorin989.tes"});
  ChildProcess with_separator = start(data(), temporary().string() + separator_);
  expectResult(with_separator, temporary().string() + separator_);
  ChildProcess without_data = start(host() / "below-a-file", temporary().string());
  expectResult(without_data, temporary().string() + separator_);
}

TEST_F(WritableFolder, WaitsForATemporaryFolderThatCannotBeUsedYet) {
  block(program());
  block(data());
  block(temporary());
  ChildProcess process = start(data(), temporary().string());
  std::this_thread::sleep_for(std::chrono::milliseconds(200)); // a search that gave up has ended by then, with another result
  fs::remove(obstacle(temporary()));
  expectResult(process, temporary().string() + separator_);
}

// Windows' code page has no such letters, so a program there knows its own folder by no name that the library could use.
TEST_F(WritableFolder, HasANameThatTheCodePageKnows) {
  const fs::path own = folder_.path() / u8"\u6F22\u5B57";
  fs::create_directory(own);
  fs::copy_file(host(), own / "host.exe");
  application_data_ = setAppDataFolder(data());
  const std::u8string name = (own / "host.exe").u8string();
  ChildProcess process({std::string(name.begin(), name.end())}, {});
  const fs::path expected = platform::kPathSeparator == '\\' ? data() / "Merix" / "VORIN" : own;
  EXPECT_EQ(process.wait().standard_output, expected.string() + "\n");
}

TEST_F(WritableFolder, MayHaveAPathOfAnyLengthAndBackslashesInIt) {
  if (platform::kPathSeparator == '\\') {
    GTEST_SKIP() << "this system cuts paths at 260 characters, and a backslash separates folders";
  }
  const std::string name = std::string(200, 'n') + "\\n";
  const fs::path deep = folder_.path() / name / name;
  fs::create_directories(deep);
  fs::copy_file(host(), deep / "host");
  ChildProcess in_deep_folder = start(data(), temporary().string(), deep / "host");
  EXPECT_EQ(in_deep_folder.wait().standard_output, deep.string() + "\n");
  block(program());
  block(data());
  ChildProcess in_temporary_folder = start(data(), deep.string());
  EXPECT_EQ(in_temporary_folder.wait().standard_output, deep.string() + separator_ + "\n");
}

} // namespace
} // namespace vorin
