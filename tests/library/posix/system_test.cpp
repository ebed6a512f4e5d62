// What only POSIX systems have: adapters in a PCI tree, a limit on the size of files, files that are links or pipes, and a
// log switch that is text.
#include "core/vendor.h"
#include "modelpack/model_package_reader.h"
#include "platform/platform.h"
#include "platform/posix/display_adapters.h"
#include "support/log_lines.h"
#include "support/package_bytes.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorin {
namespace {

using namespace tests;

TEST(Adapters, AreReadFromThePciTree) {
  const TemporaryFolder folder;
  const auto device = [&](const char* slot, const std::vector<std::pair<const char*, const char*>>& files) {
    fs::create_directory(folder.path() / slot);
    for (const auto& [name, content] : files) {
      std::ofstream(folder.path() / slot / name) << content << '\n';
    }
  };
  device("0000:03:00.0",
         {{"class", "0x030000"}, {"vendor", "0x7a3c"}, {"device", "0x56a0"}, {"mem_info_vram_total", "8589934592"}});
  device("0000:00:02.0", {{"class", "0x038000"}, {"vendor", "0x7a3c"}, {"device", "0x46a6"}, {"mem_info_vram_total", "lots"}});
  device("0000:00:03.0", {{"class", "0x020000"}, {"vendor", "0x7a3c"}, {"device", "0x1000"}}); // a network card
  device("0000:04:00.0", {{"class", "0x030000"}, {"vendor", "0x7a3c"}});                       // tells no device
  const std::vector<platform::DisplayAdapter> adapters = platform::listDisplayAdaptersBelow(folder.path().string());
  ASSERT_EQ(adapters.size(), 2U);
  EXPECT_EQ(adapters[0].device_id, 0x46A6U);
  EXPECT_EQ(adapters[0].dedicated_memory_bytes, 0U);
  EXPECT_EQ(adapters[1].vendor_id, SupportedGpuVendorId);
  EXPECT_EQ(adapters[1].device_id, 0x56A0U);
  EXPECT_EQ(adapters[1].dedicated_memory_bytes, 8589934592U);
  EXPECT_TRUE(platform::listDisplayAdaptersBelow((folder.path() / "none").string()).empty());
}

// As on a full disk: files may not grow beyond a size.
TEST(FullDisk, IsReportedAndTheTargetRemoved) {
  const TemporaryFolder folder;
  const fs::path package = folder.path() / "package";
  const fs::path target = folder.path() / "target";
  rlimit before = {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN); // a write reports the limit then
  for (const std::size_t size : {1U, 4096U, 20000U}) {
    writeFile(package, packageBytes({{"net.xml", randomBytes(size, 3)}}));
    const rlimit limit = {size - 1, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(modelpack::ModelPackageReader(package.wstring(), "net.xml", target), modelpack::PackageStatus::kError) << size;
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(fs::exists(target)) << size;
  }
  static_cast<void>(std::signal(SIGXFSZ, handler));
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool isClosedOnExec(const File& file) {
  return (::fcntl(::fileno(file.get()), F_GETFD) & FD_CLOEXEC) != 0;
}

// Another user has put a file of the same name where the library creates its own.
TEST(PlantedFiles, AreRemovedAndNeverWrittenTo) {
  const TemporaryFolder folder;
  const fs::path victim = folder.path() / "victim";
  const fs::path path = folder.path() / "planted";
  writeFile(victim.string(), "content");
  const std::pair<const char*, std::function<void()>> kinds[] = {
      {"symbolic link", [&] { fs::create_symlink(victim, path); }},
      {"hard link", [&] { fs::create_hard_link(victim, path); }},
      {"pipe", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
  };
  for (const auto& [kind, plant] : kinds) {
    SCOPED_TRACE(kind);
    plant();
    EXPECT_TRUE(platform::canCreateAndDelete(path));
    EXPECT_FALSE(fs::exists(fs::symlink_status(path)));
    plant();
    const File created(platform::createBinary(path), std::fclose);
    ASSERT_TRUE(created);
    EXPECT_TRUE(isClosedOnExec(created));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path)));
    EXPECT_EQ(fs::hard_link_count(path), 1U);
    EXPECT_EQ(readFile(victim), "content");
    fs::remove(path);

    if (kind != kinds[1].first) { // a log that its user gave another name too is still that user's log
      plant();
      EXPECT_EQ(platform::openTextForWriting(path), nullptr);
      EXPECT_EQ(readFile(victim), "content");
      fs::remove(path);
    }
  }
  EXPECT_TRUE(isClosedOnExec(File(platform::openBinaryForReading(victim.wstring()), std::fclose)));
  EXPECT_TRUE(isClosedOnExec(File(platform::openTextForWriting(victim), std::fclose)));
}

// In a folder that others may write to, somebody may have made the folder first.
TEST(OwnFolders, AreMadeForTheUserAloneAndBelongToNobodyElse) {
  const TemporaryFolder folder;
  const fs::path path = folder.path() / "cache";
  EXPECT_TRUE(platform::isOwnFolder(path)); // made
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
  EXPECT_TRUE(platform::isOwnFolder(path));
  fs::permissions(path, fs::perms::others_write, fs::perm_options::add);
  EXPECT_FALSE(platform::isOwnFolder(path));
  fs::permissions(path, fs::perms::owner_all);
  const fs::path link = folder.path() / "link";
  fs::create_directory_symlink(path, link);
  EXPECT_FALSE(platform::isOwnFolder(link));
  EXPECT_FALSE(platform::isOwnFolder(folder.path() / "none" / "cache"));
  if (::chown(path.c_str(), 1, 1) == 0) { // as root only
    EXPECT_FALSE(platform::isOwnFolder(path));
  }
}

// Windows' switch is a number by its type, and its C runtime hands lines that do not fit to the host.
TEST(PosixLog, KeepsItsSwitchWhereTheVariableIsNoNumber) {
  const LogOn log;
  for (const char* const text : {"0x2", "", "-1"}) {
    const ScopedVariable variable("VORIN_DUMP_ST_LOG", text);
    DebuggerOutput output;
    openLog();
    sttLogInfo("still on");
    EXPECT_EQ(output.take(), "====== sdk: [I] still on\n") << text;
  }
}

TEST(PosixLog, CutsALineThatDoesNotFit) {
  const LogOn log;
  for (const std::size_t length : {239U, 255U, 256U, 5000U}) {
    DebuggerOutput output;
    sttLogError("%s", std::string(length, 'x').c_str());
    EXPECT_EQ(output.take(), "====== sdk: [E] " + std::string(238, 'x') + "\n") << length;
  }
}

} // namespace
} // namespace vorin
