// Objects of all styles, two of style 0, each on a thread of its own: each gives what it gives alone. Under ThreadSanitizer a
// race between them is a fault too (scripts/robustness --long).
#include "gpufilters/opencl_handles.h"
#include "host.h"

#include <array>
#include <thread>

namespace vorin {
namespace {

using namespace tests;

// The first test of the process, since the first query sets the devices up: PoCL 3.1 alone then gives 7 of 8 threads a device
// without compute units, in which a program's build crashes.
TEST(Threads, GetWholeDevicesFromTheFirstQuery) {
  std::vector<cl::Platform> platforms;
  cl::Platform::get(&platforms);
  ASSERT_FALSE(platforms.empty());
  std::array<cl_uint, 8> compute_units{};
  {
    std::vector<std::jthread> threads;
    for (cl_uint& units : compute_units) {
      threads.emplace_back([&] {
        std::vector<cl::Device> devices;
        platforms.front().getDevices(CL_DEVICE_TYPE_GPU, &devices);
        units = devices.empty() ? 0 : devices.front().getInfo<CL_DEVICE_MAX_COMPUTE_UNITS>();
      });
    }
  }
  for (const cl_uint units : compute_units) {
    EXPECT_GT(units, 0U);
  }
}

TEST(Threads, SixObjectsGiveWhatEachGivesAlone) {
  Sweep sweep("objects on threads of their own");
  const TestPackage package = sweepPackage();
  const int frames = 100 * longerBy();
  sweep.note(std::to_string(frames) + " frames each");
  std::vector<Host> hosts;
  std::vector<std::string> expected;
  for (std::size_t index = 0; index <= kAllStyles.size(); ++index) {
    const std::int32_t style = kAllStyles.at(index % kAllStyles.size());
    Host alone(style, package.folder());
    ASSERT_TRUE(alone.prepare());
    expected.push_back(alone.frames(frames));
    hosts.emplace_back(style, package.folder());
    ASSERT_TRUE(hosts.back().prepare());
  }
  std::vector<std::string> results(hosts.size());
  {
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < hosts.size(); ++index) {
      threads.emplace_back([&, index] { results[index] = hosts[index].frames(frames); });
    }
  }
  for (std::size_t index = 0; index < hosts.size(); ++index) {
    sweep.begin("object " + std::to_string(index));
    sweep.require(results[index] == expected[index], "other bytes than alone");
  }
}

} // namespace
} // namespace vorin
