// Entries of a package as files: into the program's folder first, into the folder of last resort second, and away again.
#include "modelpack/unpacked_files.h"
#include "platform/platform.h"
#include "support/log_lines.h"
#include "support/package_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorin::modelpack {
namespace {

using namespace tests;
using Lines = std::vector<std::string>;

constexpr const char* kEntry = "vorin_unpacked_files_test.xml";
const fs::path kLastResort = platform::kLastResortFolder;

class UnpackedFilesTest : public testing::Test {
protected:
  UnpackedFilesTest() : had_last_resort_(fs::exists(kLastResort)) { clear(); }

  ~UnpackedFilesTest() override {
    clear();
    std::error_code ignored; // a folder in use stays
    if (!had_last_resort_) {
      fs::remove(kLastResort, ignored);
    }
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
    LogLines lines;
    std::string path = UnpackModelFile(files_, package_path, entry_name);
    log_ = lines.take();
    return path;
  }

  UnpackedFiles files_;
  Lines log_;

private:
  static void clear() {
    fs::remove_all(entryFile());
    fs::remove(lastResortFile());
  }

  TemporaryFolder folder_;
  bool had_last_resort_;
};

const std::string kFolderLine = "[I] getWritableFolder: " + programFolder();

TEST_F(UnpackedFilesTest, KeepsEntriesWithFoldersInTheirNamesInTheFolder) {
  const std::string unpacked = programFolder().append(2, platform::kPathSeparator).append(kEntry);
  for (std::string before : {"../", "a/b/", "/", "/etc/../", "../../../../"}) {
    std::replace(before.begin(), before.end(), '/', platform::kPathSeparator);
    const std::string name = before + kEntry;
    EXPECT_EQ(unpack(package({{name, before}}), name), unpacked) << name;
    EXPECT_EQ(readFile(entryFile()), before);
    DeleteUnpackedFiles(files_);
    EXPECT_FALSE(fs::exists(entryFile()));
  }
}

TEST_F(UnpackedFilesTest, FallsBackToANameThatBeginsWithTheLastResorts) {
  fs::create_directory(entryFile()); // no file of that name can be made there
  EXPECT_EQ(unpack(package({{kEntry, "network"}}), kEntry), lastResortFile());
  EXPECT_EQ(log_, Lines{kFolderLine});
  EXPECT_EQ(readFile(std::string(platform::kLastResortFolder) + "vorin_unpacked_files_test.xml"), "network");
  EXPECT_TRUE(fs::is_directory(kLastResort));
  EXPECT_EQ(files_, UnpackedFiles{lastResortFile()});
  DeleteUnpackedFiles(files_);
  EXPECT_FALSE(fs::exists(lastResortFile()));
  EXPECT_EQ(unpack(package({{"other.xml", "network"}}), kEntry), "");
  EXPECT_EQ(files_, UnpackedFiles{}); // neither the deleted one nor the one that is not there
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
  EXPECT_EQ(log_, (Lines{kFolderLine, "[E] create model file dir failed."}));
  EXPECT_EQ(files_, UnpackedFiles{});
}

} // namespace
} // namespace vorin::modelpack
