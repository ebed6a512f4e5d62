// A layer of the OpenCL loader for tests: writes down the calls that pass, makes chosen ones fail, and can put platforms of the
// test's own making in front of the real device.
//
// The layer is a shared library named in OPENCL_LAYERS, after (which is above) the stand-in for the hardware. A test reaches the
// layer's one object with openClTestLayer(). What it does not change passes to the real implementation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::tests {

// One call: a creation with the handle it gave, any other with its first argument when that is a handle.
struct OpenClCall {
  std::string name;
  const void* handle = nullptr;
};

// A device that answers these two questions with its own values and everything else with the real device's.
struct TestDevice {
  bool unified_memory = true;
  std::size_t max_work_group_items = 4096;
};

// A platform whose devices are all GPUs.
struct TestPlatform {
  std::string vendor;
  std::vector<TestDevice> devices;
  std::int32_t device_count_result = 0; // of the query for the number of devices: an OpenCL code
};

class OpenClTestLayer {
public:
  // Forgets calls, faults and platforms: everything passes.
  virtual void reset() = 0;

  // Lets `skip` calls of the function pass, then makes the next `times` calls fail with the OpenCL code, which the real function
  // then never sees. One such order a function.
  virtual void fail(std::string_view function, std::int32_t code, int skip, int times) = 0;

  // Replaces the list of platforms. Work on their devices is done by the real device.
  virtual void setPlatforms(std::vector<TestPlatform> platforms) = 0;
  // The handle under which programs know a device of these platforms.
  virtual const void* deviceHandle(std::size_t platform, std::size_t device) const = 0;

  virtual const std::vector<OpenClCall>& calls() const = 0;

protected:
  ~OpenClTestLayer() = default; // lives as long as the layer
};

// The layer of this process. Throws std::runtime_error when OPENCL_LAYERS does not list it. The layer is reset.
OpenClTestLayer& openClTestLayer();

// How many calls of the function the layer has seen since its last reset.
std::size_t countCalls(const OpenClTestLayer& layer, std::string_view function);

} // namespace vorin::tests

// The layer's export by which openClTestLayer() finds the object.
extern "C" vorin::tests::OpenClTestLayer* vorinOpenClTestLayer();
