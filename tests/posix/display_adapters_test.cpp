// The display adapters of a made-up PCI tree. Windows has no such tree: there, adapters come from the system's own list.
#include "core/vendor.h"
#include "platform/posix/display_adapters.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorin {
namespace {

TEST(Adapters, AreReadFromThePciTree) {
  const tests::TemporaryFolder folder;
  const auto device = [&](const char* slot, const std::vector<std::pair<const char*, const char*>>& files) {
    std::filesystem::create_directory(folder.path() / slot);
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

} // namespace
} // namespace vorin
