// What the tests' OpenCL layer and the tests share: a file of this layout, named by VORIN_OPENCL_TEST_LAYER_FILE, which both map
// into their memory. The layer makes it when the OpenCL loader opens the layer.
//
// The layer is always a library of the system that the OpenCL loader runs on. Under Wine that is Linux, while the tests are
// Windows programs, so neither can call the other.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace vorin::tests {

inline constexpr const char* kOpenClLayerFileVariable = "VORIN_OPENCL_TEST_LAYER_FILE";

using OpenClName = std::array<char, 48>; // with a NUL

// One call: a creation with the handle it gave, any other with its first argument when that is a handle.
struct OpenClCall {
  OpenClName function;
  std::uint64_t handle;

  std::string_view name() const { return function.data(); }
};

struct OpenClLayerState {
  // Lets `skip` calls of the function pass, then makes `times` calls fail with the code.
  struct Fault {
    OpenClName function;
    std::int32_t code;
    std::int32_t skip;
    std::int32_t times;
  };
  struct Device {
    std::uint64_t max_work_group_items;
    std::uint32_t unified_memory;
    std::uint32_t unused;
  };
  struct Platform {
    OpenClName vendor;
    std::array<Device, 2> devices;
    std::uint32_t device_count;
    std::int32_t device_count_result;
  };

  std::uint64_t address; // of this object in the layer's memory
  std::uint32_t fault_count;
  std::uint32_t platform_count; // 0: the real ones show
  std::uint64_t call_count;     // may exceed what `calls` holds
  std::array<Fault, 4> faults;
  std::array<Platform, 4> platforms; // the handles are the addresses of these and of their devices, in the layer's memory
  std::array<OpenClCall, 8192> calls;
};
static_assert(std::is_trivially_copyable_v<OpenClLayerState> && std::is_standard_layout_v<OpenClLayerState>);

} // namespace vorin::tests
