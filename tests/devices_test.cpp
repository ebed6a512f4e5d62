// The device table over made-up device lists, and the adapter scan over a made-up PCI tree.
#include "core/devices.h"
#include "core/log.h"
#include "core/vendor.h"
#include "platform/posix/display_adapters.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

namespace vorin {
namespace {

DeviceTable tableOf(const std::vector<ListedDevice>& devices) {
  DeviceTable table;
  for (const ListedDevice& device : devices) {
    table.add(device);
  }
  return table;
}

const ListedDevice kCpu = {"CPU", "A processor"};
const ListedDevice kIntegrated0 = {"GPU.0", "Graphics (iGPU)"};
const ListedDevice kIntegrated1 = {"GPU.1", "Graphics"};
const ListedDevice kDiscrete2 = {"GPU.2", "Card (dGPU)"};
const ListedDevice kDiscrete3 = {"GPU.3", "dGPU"};

TEST(Devices, AreClassifiedByTheStartOfTheirName) {
  const struct {
    const char* name;
    const char* full_name;
    SttDeviceKind kind;
  } cases[] = {{"CPU", "dGPU", SttDeviceCpu},
               {"CPU.1", "", SttDeviceCpu},
               {"GPU", "Graphics", SttDeviceIntegratedGpu},
               {"GPU.1", "Card (dGPU)", SttDeviceDiscreteGpu},
               {"GPU.1", "Card (DGPU)", SttDeviceIntegratedGpu},
               {"GNA", "dGPU", SttDeviceGna},
               {"NPU", "Neural", SttDeviceOther},
               {"MYCPU", "GPU", SttDeviceOther},
               {"gpu", "dGPU", SttDeviceOther},
               {"", "", SttDeviceOther}};
  for (const auto& test : cases) {
    EXPECT_EQ(classifyDevice(test.name, test.full_name), test.kind) << test.name << ", " << test.full_name;
  }
}

struct RequestCase {
  std::vector<ListedDevice> devices;
  std::int32_t kind;
  const char* result;
};

TEST(Devices, RequestsTakeTheLastOfTheirKindAndIntegratedBeforeDiscrete) {
  const RequestCase cases[] = {{{kCpu, kIntegrated0, kDiscrete2}, 8, "GPU.0"},
                               {{kCpu, kDiscrete2, kIntegrated0}, 8, "GPU.0"},
                               {{kIntegrated0, kIntegrated1, kDiscrete2}, 8, "GPU.1"},
                               {{kCpu, kDiscrete2, kDiscrete3}, 8, "GPU.3"},
                               {{kIntegrated0, kIntegrated1}, 0, "GPU.1"},
                               {{kIntegrated1, kIntegrated0}, 0, "GPU.0"},
                               {{kDiscrete3, kIntegrated0, kDiscrete2}, 1, "GPU.2"},
                               {{kCpu, kIntegrated0}, 1, "notfind"},
                               {{kCpu, kDiscrete2}, 0, "notfind"},
                               {{kCpu}, 8, "notfind"},
                               {{}, 0, "notfind"},
                               {{kIntegrated0}, 2, "notfind"},
                               {{kIntegrated0}, -1, "notfind"}};
  for (std::size_t index = 0; index < std::size(cases); ++index) {
    EXPECT_EQ(tableOf(cases[index].devices).requestDevice(cases[index].kind), cases[index].result) << "case " << index;
  }
}

TEST(Devices, RequestsAreLogged) {
  const tests::LogSetting setting(1);
  openLog();
  testing::internal::CaptureStderr();
  const DeviceTable table = tableOf({kCpu, kIntegrated0});
  table.requestDevice(8);
  table.requestDevice(1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "====== sdk: [I] Device CPU: A processor\n"
            "====== sdk: [I] Device GPU.0: Graphics (iGPU)\n"
            "====== sdk: [I] Request device: 8, return device: GPU.0, name: Graphics (iGPU)\n"
            "====== sdk: [I] Request device: 1, return device: notfind\n");
  const tests::LogSetting off(0);
  openLog();
}

TEST(Devices, EnumerationReportsGpusInOrderAndWritesNoRecordBeyond) {
  const DeviceTable table = tableOf({kCpu, kDiscrete2, {"NPU", "n"}, kIntegrated0});
  EXPECT_EQ(table.enumerate(nullptr), 2);
  SttDeviceInfo list[3];
  std::memset(list, 0x5A, sizeof list);
  EXPECT_EQ(table.enumerate(list), 2);
  EXPECT_EQ(list[0].kind, SttDeviceDiscreteGpu);
  EXPECT_EQ(list[0].reserved, 0);
  EXPECT_STREQ(list[0].name, "Card (dGPU)");
  EXPECT_EQ(list[1].kind, SttDeviceIntegratedGpu);
  EXPECT_STREQ(list[1].name, "Graphics (iGPU)");
  SttDeviceInfo guard;
  std::memset(&guard, 0x5A, sizeof guard);
  EXPECT_EQ(std::memcmp(&list[2], &guard, sizeof guard), 0);
  EXPECT_EQ(std::memcmp(list[1].untouched, guard.untouched, sizeof guard.untouched), 0);
}

TEST(Devices, SixteenAreRecordedAndAllAreLogged) {
  const tests::LogSetting setting(1);
  openLog();
  testing::internal::CaptureStderr();
  DeviceTable table;
  for (int index = 0; index < 18; ++index) {
    table.add({"GPU." + std::to_string(index), "Graphics"});
  }
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_EQ(table.count(), 16);
  EXPECT_EQ(table.enumerate(nullptr), 16);
  EXPECT_NE(log.find("Device GPU.17: Graphics"), std::string::npos);
  EXPECT_EQ(table.requestDevice(0), "GPU.15");
  const tests::LogSetting off(0);
  openLog();
}

TEST(Devices, NamesFillTheirFieldsAndLongerOnesBecomeEmpty) {
  const std::string longest(127, 'n');
  const DeviceTable table = tableOf({{"GPU.0", longest}, {"GPU.1", longest + "n"}});
  EXPECT_EQ(table[0].fullName, longest);
  EXPECT_STREQ(table[1].fullName, "");
  EXPECT_STREQ(table[1].deviceName, "GPU.1");
  EXPECT_EQ(table[0].vendorId, 0x7A3CU);
}

TEST(Adapters, AreSortedByVendorAndMemory) {
  constexpr std::uint64_t kHalfGiB = 0x20000000;
  const struct {
    std::vector<platform::DisplayAdapter> adapters;
    std::uint32_t integrated;
    std::uint32_t discrete;
  } cases[] = {{{}, 0, 0},
               {{{0x7A3C, 0x11, kHalfGiB}}, 0x11, 0},
               {{{0x7A3C, 0x11, kHalfGiB + 1}}, 0, 0x11},
               {{{0x1234, 0x11, 0}, {0x1234, 0x12, 4 * kHalfGiB}}, 0, 0},
               {{{0x7A3C, 0x11, 0}, {0x7A3C, 0x12, 1}, {0x7A3C, 0x21, 4 * kHalfGiB}, {0x7A3C, 0x22, 2 * kHalfGiB}}, 0x12, 0x22}};
  for (std::size_t index = 0; index < std::size(cases); ++index) {
    const AdapterIds ids = scanAdapters(cases[index].adapters);
    EXPECT_EQ(ids.integratedAdapterId, cases[index].integrated) << "case " << index;
    EXPECT_EQ(ids.discreteAdapterId, cases[index].discrete) << "case " << index;
  }
}

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
