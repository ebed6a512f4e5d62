// Reading one entry of a package: what its numbers may be, and what an unusable target and the log get. Which record counts,
// where its bytes are, and damage to the directory are the fuzzer's. The packages are bytes that the test puts together itself.
#include "modelpack/model_package_reader.h"
#include "platform/platform.h"
#include "support/log_lines.h"
#include "support/package_bytes.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>

namespace vorin::modelpack {
namespace {

using namespace tests;

constexpr auto kWritten = PackageStatus::kWritten;
constexpr auto kNoSuchEntry = PackageStatus::kNoSuchEntry;
constexpr auto kError = PackageStatus::kError;
constexpr std::uint32_t kMaxSize = 0x40000000;

const char* const kTooBig = "====== sdk: [E] the file size is too big\n";
const char* const kNoSeek = "====== sdk: [E] unpack file error\n";

class ModelPackageReaderTest : public testing::Test {
protected:
  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }
  std::string target() const { return path("target"); }

  // Puts the package down, asks for the entry, and expects the status, the log, and a target file only after success.
  void expectReading(const std::string& package, const std::string& entry_name, PackageStatus status,
                     const std::string& log = "") {
    writeFile(path("package"), package);
    std::filesystem::remove(target());
    DebuggerOutput output;
    EXPECT_EQ(ModelPackageReader(std::filesystem::path(path("package")).wstring(), entry_name, target()), status);
    EXPECT_EQ(output.take(), log);
    EXPECT_EQ(std::filesystem::exists(target()), status == kWritten);
  }

  // And the entry's bytes in the target.
  void expectEntry(const std::string& package, const std::string& entry_name, const std::string& content) {
    expectReading(package, entry_name, kWritten);
    EXPECT_EQ(readFile(target()), content) << entry_name;
  }

private:
  LogOn log_;
  TemporaryFolder folder_;
};

TEST_F(ModelPackageReaderTest, RefusesASizeAboveOneGibibyteInAnyRecordUpToTheWantedOne) {
  const auto around = [](std::uint32_t before, std::uint32_t wanted, std::uint32_t wanted_offset, std::uint32_t after) {
    return recordBytes("before", before, 0) + recordBytes("wanted", wanted, wanted_offset) + recordBytes("after", after, 0) +
           recordBytes("", 0, 0);
  };
  expectReading(around(kMaxSize, 0, 0, 0), "wanted", kWritten);
  expectReading(around(kMaxSize + 1, 0, 0, 0), "wanted", kError, kTooBig);
  expectReading(around(0xFFFFFFFF, 0, 0, 0), "wanted", kError, kTooBig);
  expectReading(around(0, kMaxSize, 0xFFFFFFFF, 0), "wanted", kError, kNoSeek); // the size is accepted, the offset is not
  expectReading(around(0, kMaxSize + 1, 0, 0), "wanted", kError, kTooBig);
  expectReading(around(0, 0, 0, kMaxSize + 1), "wanted", kWritten);
  expectReading(recordBytes("other", 0, 0) + recordBytes("", kMaxSize, 0), "wanted", kNoSuchEntry);
  expectReading(recordBytes("other", 0, 0) + recordBytes("", kMaxSize + 1, 0), "wanted", kError, kTooBig);
}

TEST_F(ModelPackageReaderTest, SeeksBySignedOffsetsAndBeyondTheEndOfTheFile) {
  for (const std::uint32_t offset : {0U, 50U, 100000U, 0x7FFFFFFFU}) {
    SCOPED_TRACE(offset);
    expectEntry(recordBytes("empty", 0, offset) + recordBytes("", 0, 0), "empty", "");
  }
  for (const std::uint32_t offset : {0x80000000U, 0xFFFFFFF6U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(offset);
    expectReading(recordBytes("net", 0, offset) + recordBytes("", 0, 0), "net", kError, kNoSeek);
    expectReading(recordBytes("net", 4, offset) + recordBytes("", 0, 0) + "data", "net", kError, kNoSeek);
  }
}

TEST_F(ModelPackageReaderTest, WaitsForBytesThatAreNotThereYet) {
  if (std::filesystem::path::preferred_separator == '\\') {
    GTEST_SKIP() << "the C library of Windows reads no more of a file whose end it has met: the wait has no end";
  }
  const std::string package = packageBytes({{"net.xml", "all of it"}});
  const std::size_t there = package.size() - 3;
  writeFile(path("package"), package.substr(0, there));
  std::future<PackageStatus> status = std::async(std::launch::async, [&] {
    return ModelPackageReader(std::filesystem::path(path("package")).wstring(), "net.xml", target());
  });
  EXPECT_EQ(status.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  std::ofstream(path("package"), std::ios::binary | std::ios::app) << package.substr(there);
  EXPECT_EQ(status.get(), kWritten);
  EXPECT_EQ(readFile(target()), "all of it");
}

TEST_F(ModelPackageReaderTest, FailsWithoutALineForPackagesAndTargetsThatCannotBeOpened) {
  writeFile(path("package"), packageBytes({{"net.xml", "content"}}));
  std::filesystem::create_directory(path("folder"));
  const std::wstring package = std::filesystem::path(path("package")).wstring();
  DebuggerOutput output;
  EXPECT_EQ(ModelPackageReader(std::filesystem::path(path("none")).wstring(), "net.xml", target()), kError);
  EXPECT_EQ(ModelPackageReader(std::filesystem::path(path("folder")).wstring(), "net.xml", target()), kError);
  EXPECT_EQ(ModelPackageReader(L"", "net.xml", target()), kError);
  EXPECT_EQ(ModelPackageReader(package, "net.xml", path("folder")), kError);
  EXPECT_EQ(ModelPackageReader(package, "net.xml", path("none/target")), kError);
  EXPECT_EQ(ModelPackageReader(package, "net.xml", ""), kError);
  EXPECT_EQ(output.take(), "");
  EXPECT_FALSE(std::filesystem::exists(target()));
  EXPECT_TRUE(std::filesystem::is_directory(path("folder")));
  EXPECT_FALSE(std::filesystem::exists(path("none")));
}

TEST_F(ModelPackageReaderTest, ReplacesALongerTargetAndLeavesItAloneWithoutAnEntry) {
  writeFile(path("package"), packageBytes({{"net.xml", "short"}}));
  writeFile(target(), "much longer than the entry");
  const std::wstring package = std::filesystem::path(path("package")).wstring();
  EXPECT_EQ(ModelPackageReader(package, "other.xml", target()), kNoSuchEntry);
  EXPECT_EQ(readFile(target()), "much longer than the entry");
  EXPECT_EQ(ModelPackageReader(package, "net.xml", target()), kWritten);
  EXPECT_EQ(readFile(target()), "short");
}

TEST_F(ModelPackageReaderTest, OpensPackagesAndTargetsWithNamesBeyondAscii) {
  const std::string folder = path("");
  const std::string entry_name = platform::toNarrow(L"netz_ä.xml");
  writeFile(folder / std::filesystem::path(u8"größe 模型.bin"), packageBytes({{entry_name, "umlaut"}}));
  const std::wstring package = std::filesystem::path(folder).wstring() + L"größe 模型.bin";
  EXPECT_EQ(ModelPackageReader(package, entry_name, folder + platform::toNarrow(L"ziel_ä")), kWritten);
  EXPECT_EQ(readFile(folder / std::filesystem::path(u8"ziel_ä")), "umlaut");
}

} // namespace
} // namespace vorin::modelpack
