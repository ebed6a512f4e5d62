#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_layer_platforms.h"

#include <CL/cl.h>

#include <algorithm>
#include <cstring>
#include <span>

namespace vorin::tests {
namespace {

using Platform = OpenClLayerState::Platform;
using Device = OpenClLayerState::Device;

const cl_icd_dispatch* real = nullptr;
const OpenClLayerState* shared = nullptr;

std::span<const Platform> platformsOfTest() {
  return {shared->platforms.data(), shared->platform_count};
}

template <typename Handle, typename Object> Handle handleOf(const Object& object) {
  return reinterpret_cast<Handle>(const_cast<Object*>(&object));
}

const Platform* findPlatform(cl_platform_id handle) {
  for (const Platform& platform : platformsOfTest()) {
    if (handleOf<cl_platform_id>(platform) == handle) {
      return &platform;
    }
  }
  return nullptr;
}

const Device* findDevice(cl_device_id handle) {
  for (const Platform& platform : platformsOfTest()) {
    for (const Device& device : platform.devices) {
      if (handleOf<cl_device_id>(device) == handle) {
        return &device;
      }
    }
  }
  return nullptr;
}

cl_int copyProperty(const void* property, std::size_t property_bytes, std::size_t size_bytes, void* value, std::size_t* needed) {
  if (value != nullptr) {
    if (size_bytes < property_bytes) {
      return CL_INVALID_VALUE;
    }
    std::memcpy(value, property, property_bytes);
  }
  if (needed != nullptr) {
    *needed = property_bytes;
  }
  return CL_SUCCESS;
}

cl_int CL_API_CALL getPlatformIds(cl_uint entries, cl_platform_id* platforms, cl_uint* count) {
  const std::span<const Platform> own = platformsOfTest();
  if (own.empty()) {
    return real->clGetPlatformIDs(entries, platforms, count);
  }
  if (count != nullptr) {
    *count = static_cast<cl_uint>(own.size());
  }
  for (std::size_t i = 0; platforms != nullptr && i < std::min<std::size_t>(entries, own.size()); ++i) {
    platforms[i] = handleOf<cl_platform_id>(own[i]);
  }
  return CL_SUCCESS;
}

cl_int CL_API_CALL getPlatformInfo(cl_platform_id platform, cl_platform_info name, std::size_t size_bytes, void* value,
                                   std::size_t* needed) {
  const Platform* object = findPlatform(platform);
  if (object == nullptr) {
    return real->clGetPlatformInfo(platform, name, size_bytes, value, needed);
  }
  const char* const text = name == CL_PLATFORM_VENDOR ? object->vendor.data() : "test platform";
  return copyProperty(text, std::strlen(text) + 1, size_bytes, value, needed);
}

cl_int CL_API_CALL getDeviceIds(cl_platform_id platform, cl_device_type type, cl_uint entries, cl_device_id* devices,
                                cl_uint* count) {
  const Platform* object = findPlatform(platform);
  if (object == nullptr) {
    return real->clGetDeviceIDs(platform, type, entries, devices, count);
  }
  if (devices == nullptr && object->device_count_result != CL_SUCCESS) {
    return object->device_count_result;
  }
  if ((type & CL_DEVICE_TYPE_GPU) == 0 || object->device_count == 0) {
    return CL_DEVICE_NOT_FOUND;
  }
  if (count != nullptr) {
    *count = object->device_count;
  }
  for (std::size_t i = 0; devices != nullptr && i < std::min(entries, object->device_count); ++i) {
    devices[i] = handleOf<cl_device_id>(object->devices[i]);
  }
  return CL_SUCCESS;
}

// The first device of the first platform that has one.
cl_device_id realDevice() {
  cl_platform_id platforms[8] = {};
  cl_uint count = 0;
  real->clGetPlatformIDs(8, platforms, &count);
  cl_device_id device = nullptr;
  for (cl_uint i = 0; i < std::min<cl_uint>(count, 8) && device == nullptr; ++i) {
    real->clGetDeviceIDs(platforms[i], CL_DEVICE_TYPE_ALL, 1, &device, nullptr);
  }
  return device;
}

cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info name, std::size_t size_bytes, void* value,
                                 std::size_t* needed) {
  const Device* object = findDevice(device);
  if (object != nullptr && name == CL_DEVICE_HOST_UNIFIED_MEMORY) {
    const cl_bool unified_memory = object->unified_memory != 0 ? CL_TRUE : CL_FALSE;
    return copyProperty(&unified_memory, sizeof unified_memory, size_bytes, value, needed);
  }
  if (object != nullptr && name == CL_DEVICE_MAX_WORK_GROUP_SIZE) {
    const auto items = static_cast<std::size_t>(object->max_work_group_items);
    return copyProperty(&items, sizeof items, size_bytes, value, needed);
  }
  return real->clGetDeviceInfo(translated(device), name, size_bytes, value, needed);
}

// The functions that take a single device handle, in terms of the real device.
cl_int CL_API_CALL retainDevice(cl_device_id device) {
  return real->clRetainDevice(translated(device));
}
cl_int CL_API_CALL releaseDevice(cl_device_id device) {
  return real->clReleaseDevice(translated(device));
}
cl_command_queue CL_API_CALL createCommandQueue(cl_context context, cl_device_id device, cl_command_queue_properties properties,
                                                cl_int* result) {
  return real->clCreateCommandQueue(context, translated(device), properties, result);
}
cl_int CL_API_CALL getProgramBuildInfo(cl_program program, cl_device_id device, cl_program_build_info name,
                                       std::size_t size_bytes, void* value, std::size_t* needed) {
  return real->clGetProgramBuildInfo(program, translated(device), name, size_bytes, value, needed);
}

} // namespace

cl_device_id translated(cl_device_id device) {
  return findDevice(device) == nullptr ? device : realDevice();
}

cl_icd_dispatch withTestPlatforms(const cl_icd_dispatch& below, const OpenClLayerState& state) {
  real = &below;
  shared = &state;
  cl_icd_dispatch table = below;
  table.clGetPlatformIDs = getPlatformIds;
  table.clGetPlatformInfo = getPlatformInfo;
  table.clGetDeviceIDs = getDeviceIds;
  table.clGetDeviceInfo = getDeviceInfo;
  table.clRetainDevice = retainDevice;
  table.clReleaseDevice = releaseDevice;
  table.clCreateCommandQueue = createCommandQueue;
  table.clGetProgramBuildInfo = getProgramBuildInfo;
  return table;
}

} // namespace vorin::tests
