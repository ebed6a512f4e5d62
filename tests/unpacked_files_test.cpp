// Entries of a package as files: into the program's folder first, into the folder of last resort second, and away again.
#include "core/log.h"
#include "modelpack/unpacked_files.h"
#include "platform/platform.h"
#include "support/debugger_output.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace vorin::modelpack {
namespace {

namespace fs = std::filesystem;
using namespace tests;

constexpr const char* kEntry = "vorin_unpacked_files_test.xml";
const fs::path kLastResort = platform::kLastResortFolder;

class UnpackedFilesTest : public testing::Test {
protected:
  UnpackedFilesTest() : had_last_resort_(fs::exists(kLastResort)) {
    openLog();
    clear();
  }

  ~UnpackedFilesTest() override {
    clear();
    std::error_code ignored; // a folder in use stays
    if (!had_last_resort_) {
      fs::remove(kLastResort, ignored);
    }
    const LogSetting off(0);
    openLog();
  }

  // This program may write where it lies.
  static std::string entryFile() { return inProgramFolder(kEntry); }
  static std::string lastResortFile() { return kLastResort.string() + kEntry; }

  std::wstring package(const std::vector<NamedContent>& entries) const {
    const fs::path file = folder_.path() / "model_st.bin";
    writeFile(file.string(), packageBytes(entries));
    return file.wstring();
  }

  std::string unpack(const std::wstring& package_path, const std::string& entry_name) {
    DebuggerOutput output;
    std::string path = UnpackModelFile(files_, package_path, entry_name);
    log_ = output.take();
    return path;
  }

  void deleteAll() {
    DebuggerOutput output;
    DeleteUnpackedFiles(files_);
    log_ = output.take();
  }

  UnpackedFiles files_;
  std::string log_;

private:
  static void clear() {
    fs::remove_all(entryFile());
    fs::remove(lastResortFile());
  }

  LogSetting log_setting_{1};
  TemporaryFolder folder_;
  bool had_last_resort_;
};

std::string folderLine(const std::string& folder) {
  return "====== sdk: [I] getWritableFolder: " + folder + "\n";
}

TEST_F(UnpackedFilesTest, WritesIntoTheProgramsFolderAndDeletesInOrder) {
  const std::string weights = "vorin_unpacked_files_test.bin";
  const std::wstring path = package({{kEntry, "network"}, {weights, "weights"}});
  EXPECT_EQ(unpack(path, kEntry), entryFile());
  EXPECT_EQ(log_, folderLine(programFolder()));
  EXPECT_EQ(unpack(path, weights), inProgramFolder(weights));
  EXPECT_EQ(readFile(entryFile()), "network");
  EXPECT_EQ(readFile(inProgramFolder(weights)), "weights");
  EXPECT_EQ(files_, (UnpackedFiles{entryFile(), inProgramFolder(weights)}));

  fs::remove(entryFile());
  deleteAll();
  EXPECT_EQ(log_, "====== sdk: [V] del " + entryFile() + " fail\n====== sdk: [V] del " + inProgramFolder(weights) + " success\n");
  EXPECT_FALSE(fs::exists(inProgramFolder(weights)));
  EXPECT_EQ(files_, UnpackedFiles{});
}

TEST_F(UnpackedFilesTest, KeepsEntriesWithFoldersInTheirNamesInTheFolder) {
  const std::string separator(1, platform::kPathSeparator);
  for (std::string before : {"../", "a/b/", "/", "/etc/../", "../../../../"}) {
    std::replace(before.begin(), before.end(), '/', platform::kPathSeparator);
    const std::string name = before + kEntry;
    EXPECT_EQ(unpack(package({{name, before}}), name), programFolder() + separator + separator + kEntry) << name;
    EXPECT_EQ(readFile(entryFile()), before);
    deleteAll();
    EXPECT_FALSE(fs::exists(entryFile()));
  }
}

TEST_F(UnpackedFilesTest, FallsBackToANameThatBeginsWithTheLastResorts) {
  fs::create_directory(entryFile()); // no file of that name can be made there
  EXPECT_EQ(unpack(package({{kEntry, "network"}}), kEntry), lastResortFile());
  EXPECT_EQ(log_, folderLine(programFolder()));
  EXPECT_EQ(readFile(std::string(platform::kLastResortFolder) + "vorin_unpacked_files_test.xml"), "network");
  EXPECT_TRUE(fs::is_directory(kLastResort));
  EXPECT_EQ(files_, UnpackedFiles{lastResortFile()});
  deleteAll();
  EXPECT_FALSE(fs::exists(lastResortFile()));
}

TEST_F(UnpackedFilesTest, ReportsWhatNeitherFolderGets) {
  struct Case {
    const char* what;
    std::wstring package;
  };
  const std::wstring sound = package({{"other.xml", "network"}});
  for (const Case& wrong : {Case{"no such entry", sound}, Case{"no package", sound + L"x"}}) {
    EXPECT_EQ(unpack(wrong.package, kEntry), "") << wrong.what;
    EXPECT_EQ(log_, folderLine(programFolder()) + "====== sdk: [E] unpack file failed.\n") << wrong.what;
    EXPECT_TRUE(fs::is_directory(kLastResort)) << wrong.what;
    EXPECT_FALSE(fs::exists(entryFile())) << wrong.what;
    EXPECT_FALSE(fs::exists(lastResortFile())) << wrong.what;
    EXPECT_EQ(files_, UnpackedFiles{}) << wrong.what;
  }
}

TEST_F(UnpackedFilesTest, ReportsALastResortThatCannotBeMade) {
  std::error_code error;
  fs::remove(kLastResort, error);
  fs::create_symlink(fs::path(kLastResort).concat("-leads-nowhere"), kLastResort, error);
  if (error) {
    GTEST_SKIP() << kLastResort << " is in use, or this system has no symbolic links";
  }
  const std::string path = unpack(package({{"other.xml", "network"}}), kEntry);
  fs::remove(kLastResort);
  EXPECT_EQ(path, "");
  EXPECT_EQ(log_, folderLine(programFolder()) + "====== sdk: [E] create model file dir failed.\n");
  EXPECT_EQ(files_, UnpackedFiles{});
}

} // namespace
} // namespace vorin::modelpack
