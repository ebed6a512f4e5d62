// Directs the tests' layer of the OpenCL loader, which notes the calls that pass, makes chosen ones fail, and can put platforms
// of the test's own making in front of the real device. It is a shared library that the tests are linked with and that
// OPENCL_LAYERS names above the stand-in for the hardware.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::tests {

// A device that answers these two questions with its own values and everything else with the real device's.
struct TestDevice {
  bool unified_memory = true;
  std::size_t max_work_group_items = 4096;
};

// A platform whose devices are all GPUs.
struct TestPlatform {
  std::string vendor;
  std::vector<TestDevice> devices;
};

// One call: a creation with the handle it gave, any other with its first argument when that is a handle.
struct OpenClCall {
  std::string name;
  const void* handle;
};

class OpenClTestLayer {
public:
  OpenClTestLayer(); // resets the layer; throws std::runtime_error where OPENCL_LAYERS does not list it

  // Forgets calls, faults and platforms: everything passes.
  void reset();

  // Lets `skip` calls of the function pass, then makes the next `times` calls fail with the OpenCL code, which the real function
  // then never sees. One such order a function.
  void fail(const std::string& function, std::int32_t code, int skip, int times);

  // Replaces the list of platforms. Work on their devices is done by the real device.
  void setPlatforms(const std::vector<TestPlatform>& platforms);
  const void* deviceHandle(std::size_t platform, std::size_t device) const; // as programs know a device of these platforms

  // The calls since the last reset.
  std::span<const OpenClCall> calls() const;
  std::ptrdiff_t countCalls(std::string_view function) const { return std::ranges::count(calls(), function, &OpenClCall::name); }
  std::vector<std::string> namesSince(std::size_t first) const;
};

} // namespace vorin::tests
