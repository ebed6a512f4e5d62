// The device table over made-up device lists, and the choice among made-up display adapters.
#include "core/devices.h"
#include "support/log_lines.h"

#include <gmock/gmock.h>
#include <openvino/runtime/core.hpp>

#include <cstring>

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

TEST(Devices, RequestsTakeTheLastOfTheirKindAndIntegratedBeforeDiscrete) {
  const struct {
    std::vector<ListedDevice> devices;
    std::int32_t kind;
    const char* result;
  } cases[] = {{{kCpu, kIntegrated0, kDiscrete2}, 8, "GPU.0"},
               {{kCpu, kDiscrete2, kIntegrated0}, 8, "GPU.0"},
               {{kIntegrated0, kIntegrated1, kDiscrete2}, 8, "GPU.1"},
               {{kCpu, kDiscrete2, kDiscrete3}, 8, "GPU.3"},
               {{kIntegrated0, kIntegrated1}, 0, "GPU.1"},
               {{kIntegrated1, kIntegrated0}, 0, "GPU.0"},
               {{kDiscrete3, kIntegrated0, kDiscrete2}, 1, "GPU.2"},
               {{kCpu, kIntegrated0}, 1, "notfind"},
               {{kCpu, kDiscrete2}, 0, "notfind"},
               {{kCpu}, 8, "notfind"},
               {{kCpu, kIntegrated0}, 15, "CPU"},
               {{}, 0, "notfind"},
               {{kIntegrated0}, 2, "notfind"},
               {{kIntegrated0}, -1, "notfind"}};
  for (std::size_t index = 0; index < std::size(cases); ++index) {
    EXPECT_EQ(tableOf(cases[index].devices).requestDevice(cases[index].kind), cases[index].result) << "case " << index;
  }
}

TEST(Devices, RequestsAreLogged) {
  tests::LogLines log;
  const DeviceTable table = tableOf({kCpu, kIntegrated0});
  table.requestDevice(8);
  table.requestDevice(1);
  EXPECT_THAT(log.take(), testing::ElementsAre("[I] Device CPU: A processor", "[I] Device GPU.0: Graphics (iGPU)",
                                               "[I] Request device: 8, return device: GPU.0, name: Graphics (iGPU)",
                                               "[I] Request device: 1, return device: notfind"));
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
  tests::LogLines log;
  DeviceTable table;
  for (int index = 0; index < 18; ++index) {
    table.add({"GPU." + std::to_string(index), "Graphics"});
  }
  EXPECT_EQ(log.take().back(), "[I] Device GPU.17: Graphics");
  EXPECT_EQ(table.count(), 16);
  EXPECT_EQ(table.enumerate(nullptr), 16);
  EXPECT_EQ(table.requestDevice(0), "GPU.15");
}

TEST(Devices, BeforeOneThatCannotBeReadAreLoggedAndRecorded) {
  tests::LogLines log;
  DeviceTable table;
  EXPECT_THROW(table.addFrom(ov::Core(), {"CPU", "nothing", "CPU"}), ov::Exception);
  EXPECT_THAT(log.take(), testing::ElementsAre(testing::StartsWith("[I] Device CPU: ")));
  EXPECT_EQ(table.count(), 1);
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

} // namespace
} // namespace vorin
