// What only POSIX systems have: adapters in a PCI tree, a device that is always full, and a log switch that is text.
#include "core/vendor.h"
#include "modelpack/model_package_reader.h"
#include "platform/posix/display_adapters.h"
#include "support/log_lines.h"
#include "support/package_bytes.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin {
namespace {

namespace fs = std::filesystem;
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

// A package's entry whose target cannot take the bytes.
TEST(FullDevice, IsReportedAndItsLinkTakenAway) {
  const TemporaryFolder folder;
  const fs::path package = folder.path() / "package";
  const fs::path target = folder.path() / "target";
  for (const std::size_t size : {1U, 4096U, 20000U}) {
    writeFile(package.string(), packageBytes({{"net.xml", randomBytes(size, 3)}}));
    fs::create_symlink("/dev/full", target); // by a link, so that it is not the device that is removed afterwards
    EXPECT_EQ(modelpack::ModelPackageReader(package.wstring(), "net.xml", target.string()), modelpack::PackageStatus::kError)
        << size;
    EXPECT_FALSE(fs::is_symlink(target)) << size;
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

TEST(PosixLog, DropsALineThatDoesNotFit) {
  const LogOn log;
  for (const std::size_t length : {239U, 255U, 256U, 5000U}) {
    DebuggerOutput output;
    sttLogError("%s", std::string(length, 'x').c_str());
    EXPECT_EQ(output.take(), "") << length;
  }
}

} // namespace
} // namespace vorin
