#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_test_layer.h"

#include <CL/cl.h>
#include <CL/cl_icd.h>
#include <CL/cl_layer.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>
#include <type_traits>

namespace {

using vorin::tests::OpenClCall;
using vorin::tests::TestDevice;
using vorin::tests::TestPlatform;

struct Fault {
  cl_int code = CL_SUCCESS;
  int skip = 0;
  int times = 0;
};

// A platform as programs see it: the handles are the addresses of these objects.
struct PlatformObject {
  TestPlatform description;
  std::vector<std::unique_ptr<TestDevice>> devices;
};

cl_icd_dispatch below; // the loader, or the layer under this one
cl_icd_dispatch inner; // `below` with the test's platforms
cl_icd_dispatch layer; // what programs see: `inner` with notes and faults

class Layer final : public vorin::tests::OpenClTestLayer {
public:
  void reset() override {
    calls_.clear();
    faults_.clear();
    platforms.clear();
  }
  void fail(std::string_view function, cl_int code, int skip, int times) override {
    faults_[std::string(function)] = {code, skip, times};
  }
  void setPlatforms(std::vector<TestPlatform> descriptions) override {
    platforms.clear();
    for (TestPlatform& description : descriptions) {
      auto object = std::make_unique<PlatformObject>();
      for (const TestDevice& device : description.devices) {
        object->devices.push_back(std::make_unique<TestDevice>(device));
      }
      object->description = std::move(description);
      platforms.push_back(std::move(object));
    }
  }
  const void* deviceHandle(std::size_t platform, std::size_t device) const override {
    return platforms.at(platform)->devices.at(device).get();
  }
  const std::vector<OpenClCall>& calls() const override { return calls_; }

  void note(const char* name, const void* handle) { calls_.push_back({name, handle}); }

  // The code with which this call has to fail, CL_SUCCESS when it may pass.
  cl_int nextFault(const char* name) {
    const auto found = faults_.find(name);
    if (found == faults_.end()) {
      return CL_SUCCESS;
    }
    Fault& fault = found->second;
    if (fault.skip > 0) {
      --fault.skip;
      return CL_SUCCESS;
    }
    return fault.times-- > 0 ? fault.code : CL_SUCCESS;
  }

  const TestDevice* findDevice(const void* handle) const {
    for (const auto& platform : platforms) {
      for (const auto& device : platform->devices) {
        if (device.get() == handle) {
          return device.get();
        }
      }
    }
    return nullptr;
  }

  std::vector<std::unique_ptr<PlatformObject>> platforms;

private:
  std::vector<OpenClCall> calls_;
  std::map<std::string, Fault> faults_;
};

Layer state;

// ---- the test's platforms ----

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

const PlatformObject* findPlatform(cl_platform_id handle) {
  for (const auto& platform : state.platforms) {
    if (static_cast<const void*>(platform.get()) == handle) {
      return platform.get();
    }
  }
  return nullptr;
}

cl_int CL_API_CALL getPlatformIds(cl_uint entries, cl_platform_id* platforms, cl_uint* count) {
  if (state.platforms.empty()) {
    return below.clGetPlatformIDs(entries, platforms, count);
  }
  if (count != nullptr) {
    *count = static_cast<cl_uint>(state.platforms.size());
  }
  for (std::size_t i = 0; platforms != nullptr && i < std::min<std::size_t>(entries, state.platforms.size()); ++i) {
    platforms[i] = reinterpret_cast<cl_platform_id>(state.platforms[i].get());
  }
  return CL_SUCCESS;
}

cl_int CL_API_CALL getPlatformInfo(cl_platform_id platform, cl_platform_info name, std::size_t size_bytes, void* value,
                                   std::size_t* needed) {
  const PlatformObject* object = findPlatform(platform);
  if (object == nullptr) {
    return below.clGetPlatformInfo(platform, name, size_bytes, value, needed);
  }
  const std::string text = name == CL_PLATFORM_VENDOR ? object->description.vendor : "test platform";
  return copyProperty(text.c_str(), text.size() + 1, size_bytes, value, needed);
}

cl_int CL_API_CALL getDeviceIds(cl_platform_id platform, cl_device_type type, cl_uint entries, cl_device_id* devices,
                                cl_uint* count) {
  const PlatformObject* object = findPlatform(platform);
  if (object == nullptr) {
    return below.clGetDeviceIDs(platform, type, entries, devices, count);
  }
  if (devices == nullptr && object->description.device_count_result != CL_SUCCESS) {
    return object->description.device_count_result;
  }
  if ((type & CL_DEVICE_TYPE_GPU) == 0 || object->devices.empty()) {
    return CL_DEVICE_NOT_FOUND;
  }
  if (count != nullptr) {
    *count = static_cast<cl_uint>(object->devices.size());
  }
  for (std::size_t i = 0; devices != nullptr && i < std::min<std::size_t>(entries, object->devices.size()); ++i) {
    devices[i] = reinterpret_cast<cl_device_id>(object->devices[i].get());
  }
  return CL_SUCCESS;
}

// The first device of the first platform that has one.
cl_device_id realDevice() {
  cl_platform_id platforms[8] = {};
  cl_uint count = 0;
  below.clGetPlatformIDs(8, platforms, &count);
  cl_device_id device = nullptr;
  for (cl_uint i = 0; i < std::min<cl_uint>(count, 8) && device == nullptr; ++i) {
    below.clGetDeviceIDs(platforms[i], CL_DEVICE_TYPE_ALL, 1, &device, nullptr);
  }
  return device;
}

cl_device_id translated(cl_device_id device) {
  return state.findDevice(device) == nullptr ? device : realDevice();
}

cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info name, std::size_t size_bytes, void* value,
                                 std::size_t* needed) {
  const TestDevice* object = state.findDevice(device);
  if (object != nullptr && name == CL_DEVICE_HOST_UNIFIED_MEMORY) {
    const cl_bool unified_memory = object->unified_memory ? CL_TRUE : CL_FALSE;
    return copyProperty(&unified_memory, sizeof unified_memory, size_bytes, value, needed);
  }
  if (object != nullptr && name == CL_DEVICE_MAX_WORK_GROUP_SIZE) {
    return copyProperty(&object->max_work_group_items, sizeof object->max_work_group_items, size_bytes, value, needed);
  }
  return below.clGetDeviceInfo(translated(device), name, size_bytes, value, needed);
}

// ---- notes and faults ----

// What goes down in place of an argument: the real device in place of a test's device, alone or in a list of one.
template <typename T> T goingDown(T argument) {
  if constexpr (std::is_same_v<T, const cl_device_id*>) {
    static cl_device_id only = nullptr;
    if (argument == nullptr || state.findDevice(*argument) == nullptr) {
      return argument;
    }
    only = realDevice();
    return &only;
  } else {
    return argument;
  }
}

// The hook of a function, named by its place in the dispatch table.
template <auto Member> struct Hook;
template <typename Result, typename... Arguments, Result (CL_API_CALL* cl_icd_dispatch::*Member)(Arguments...)>
struct Hook<Member> {
  static inline const char* name = nullptr;

  static void install(const char* function) {
    name = function;
    layer.*Member = call;
  }

  static Result CL_API_CALL call(Arguments... arguments) {
    const cl_int fault = state.nextFault(name);
    if constexpr (std::is_same_v<Result, cl_int>) {
      const auto first = std::get<0>(std::tie(arguments...));
      if constexpr (std::is_pointer_v<decltype(first)>) {
        state.note(name, first);
      } else {
        state.note(name, nullptr);
      }
      return fault != CL_SUCCESS ? fault : (inner.*Member)(goingDown(arguments)...);
    } else {
      cl_int* const result = std::get<sizeof...(Arguments) - 1>(std::tie(arguments...));
      if (fault != CL_SUCCESS) {
        if (result != nullptr) {
          *result = fault;
        }
        state.note(name, nullptr);
        return nullptr;
      }
      const Result handle = (inner.*Member)(goingDown(arguments)...);
      state.note(name, handle);
      return handle;
    }
  }
};

// The functions below this layer that take a single device handle, in terms of the real device.
cl_int CL_API_CALL retainDevice(cl_device_id device) {
  return below.clRetainDevice(translated(device));
}
cl_int CL_API_CALL releaseDevice(cl_device_id device) {
  return below.clReleaseDevice(translated(device));
}
cl_command_queue CL_API_CALL createCommandQueue(cl_context context, cl_device_id device, cl_command_queue_properties properties,
                                                cl_int* result) {
  return below.clCreateCommandQueue(context, translated(device), properties, result);
}
cl_int CL_API_CALL getProgramBuildInfo(cl_program program, cl_device_id device, cl_program_build_info name,
                                       std::size_t size_bytes, void* value, std::size_t* needed) {
  return below.clGetProgramBuildInfo(program, translated(device), name, size_bytes, value, needed);
}

void buildInner() {
  inner = below;
  inner.clGetPlatformIDs = getPlatformIds;
  inner.clGetPlatformInfo = getPlatformInfo;
  inner.clGetDeviceIDs = getDeviceIds;
  inner.clGetDeviceInfo = getDeviceInfo;
  inner.clRetainDevice = retainDevice;
  inner.clReleaseDevice = releaseDevice;
  inner.clCreateCommandQueue = createCommandQueue;
  inner.clGetProgramBuildInfo = getProgramBuildInfo;
}

void installHooks() {
  layer = inner;
  Hook<&cl_icd_dispatch::clGetPlatformIDs>::install("clGetPlatformIDs");
  Hook<&cl_icd_dispatch::clGetPlatformInfo>::install("clGetPlatformInfo");
  Hook<&cl_icd_dispatch::clGetDeviceIDs>::install("clGetDeviceIDs");
  Hook<&cl_icd_dispatch::clGetDeviceInfo>::install("clGetDeviceInfo");
  Hook<&cl_icd_dispatch::clRetainDevice>::install("clRetainDevice");
  Hook<&cl_icd_dispatch::clReleaseDevice>::install("clReleaseDevice");
  Hook<&cl_icd_dispatch::clCreateContext>::install("clCreateContext");
  Hook<&cl_icd_dispatch::clReleaseContext>::install("clReleaseContext");
  Hook<&cl_icd_dispatch::clCreateCommandQueue>::install("clCreateCommandQueue");
  Hook<&cl_icd_dispatch::clReleaseCommandQueue>::install("clReleaseCommandQueue");
  Hook<&cl_icd_dispatch::clCreateProgramWithSource>::install("clCreateProgramWithSource");
  Hook<&cl_icd_dispatch::clBuildProgram>::install("clBuildProgram");
  Hook<&cl_icd_dispatch::clGetProgramBuildInfo>::install("clGetProgramBuildInfo");
  Hook<&cl_icd_dispatch::clReleaseProgram>::install("clReleaseProgram");
  Hook<&cl_icd_dispatch::clCreateKernel>::install("clCreateKernel");
  Hook<&cl_icd_dispatch::clSetKernelArg>::install("clSetKernelArg");
  Hook<&cl_icd_dispatch::clRetainKernel>::install("clRetainKernel");
  Hook<&cl_icd_dispatch::clReleaseKernel>::install("clReleaseKernel");
  Hook<&cl_icd_dispatch::clCreateSampler>::install("clCreateSampler");
  Hook<&cl_icd_dispatch::clReleaseSampler>::install("clReleaseSampler");
  Hook<&cl_icd_dispatch::clCreateBuffer>::install("clCreateBuffer");
  Hook<&cl_icd_dispatch::clCreateImage>::install("clCreateImage");
  Hook<&cl_icd_dispatch::clReleaseMemObject>::install("clReleaseMemObject");
  Hook<&cl_icd_dispatch::clEnqueueFillImage>::install("clEnqueueFillImage");
  Hook<&cl_icd_dispatch::clEnqueueWriteBuffer>::install("clEnqueueWriteBuffer");
  Hook<&cl_icd_dispatch::clEnqueueWriteImage>::install("clEnqueueWriteImage");
  Hook<&cl_icd_dispatch::clEnqueueNDRangeKernel>::install("clEnqueueNDRangeKernel");
  Hook<&cl_icd_dispatch::clFinish>::install("clFinish");
  Hook<&cl_icd_dispatch::clEnqueueReadImage>::install("clEnqueueReadImage");
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) vorin::tests::OpenClTestLayer* vorinOpenClTestLayer() {
  return &state;
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size_bytes, void* value,
                                                                         std::size_t* needed) {
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  return name == CL_LAYER_API_VERSION ? copyProperty(&version, sizeof version, size_bytes, value, needed) : CL_INVALID_VALUE;
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clInitLayer(cl_uint entries, const cl_icd_dispatch* target,
                                                                      cl_uint* layer_entries,
                                                                      const cl_icd_dispatch** layer_dispatch) {
  const std::size_t known = std::min<std::size_t>(entries, sizeof(cl_icd_dispatch) / sizeof(void*));
  std::memcpy(&below, target, known * sizeof(void*));
  buildInner();
  installHooks();
  *layer_entries = static_cast<cl_uint>(known);
  *layer_dispatch = &layer;
  return CL_SUCCESS;
}

} // extern "C"
