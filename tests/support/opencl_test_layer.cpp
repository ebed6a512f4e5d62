#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_test_layer.h"

#include <CL/cl.h>
#include <CL/cl_icd.h>
#include <CL/cl_layer.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <type_traits>

namespace vorin::tests {
namespace {

struct Fault {
  std::int32_t code;
  int skip, times;
};

struct State {
  cl_icd_dispatch below; // the loader, or the layer under this one
  cl_icd_dispatch layer; // what programs see
  std::map<std::string, Fault, std::less<>> faults;
  // The last generation shows, or the real platforms where it is empty. Handles are addresses of these and of their devices, and
  // programs may hold those of earlier ones.
  std::list<std::vector<TestPlatform>> generations;
  std::set<const TestDevice*> devices; // of all generations
  std::vector<OpenClCall> calls;
};

// Never destroyed: OpenCL objects may be released until the process ends.
State& state() {
  static auto* const made = new State();
  return *made;
}

template <typename Handle, typename Object> Handle handleOf(const Object& object) {
  return reinterpret_cast<Handle>(const_cast<Object*>(&object));
}

const TestPlatform* findPlatform(cl_platform_id handle) {
  for (const TestPlatform& platform : state().generations.back()) {
    if (handleOf<cl_platform_id>(platform) == handle) {
      return &platform;
    }
  }
  return nullptr;
}

const TestDevice* findDevice(cl_device_id handle) {
  const auto found = state().devices.find(reinterpret_cast<const TestDevice*>(handle));
  return found == state().devices.end() ? nullptr : *found;
}

// The real device in place of a test's: the first device of the first platform that has one.
cl_device_id realDevice(cl_device_id device) {
  if (findDevice(device) == nullptr) {
    return device;
  }
  cl_platform_id platforms[8] = {};
  cl_uint count = 0;
  state().below.clGetPlatformIDs(8, platforms, &count);
  cl_device_id real = nullptr;
  for (cl_uint i = 0; i < std::min<cl_uint>(count, 8) && real == nullptr; ++i) {
    state().below.clGetDeviceIDs(platforms[i], CL_DEVICE_TYPE_ALL, 1, &real, nullptr);
  }
  return real;
}

cl_int copyProperty(const void* property, std::size_t property_bytes, std::size_t size_bytes, void* value, std::size_t* needed) {
  if (value != nullptr) {
    std::memcpy(value, property, std::min(property_bytes, size_bytes));
  }
  if (needed != nullptr) {
    *needed = property_bytes;
  }
  return CL_SUCCESS;
}

template <typename Handle, typename Object>
cl_int copyHandles(const std::vector<Object>& objects, cl_uint entries, Handle* handles, cl_uint* count) {
  if (count != nullptr) {
    *count = static_cast<cl_uint>(objects.size());
  }
  for (std::size_t i = 0; handles != nullptr && i < std::min<std::size_t>(entries, objects.size()); ++i) {
    handles[i] = handleOf<Handle>(objects[i]);
  }
  return CL_SUCCESS;
}

cl_int CL_API_CALL getPlatformIds(cl_uint entries, cl_platform_id* platforms, cl_uint* count) {
  const std::vector<TestPlatform>& shown = state().generations.back();
  return shown.empty() ? state().below.clGetPlatformIDs(entries, platforms, count)
                       : copyHandles(shown, entries, platforms, count);
}

cl_int CL_API_CALL getPlatformInfo(cl_platform_id platform, cl_platform_info name, std::size_t size_bytes, void* value,
                                   std::size_t* needed) {
  const TestPlatform* own = findPlatform(platform);
  if (own == nullptr) {
    return state().below.clGetPlatformInfo(platform, name, size_bytes, value, needed);
  }
  const std::string text = name == CL_PLATFORM_VENDOR ? own->vendor : "test platform";
  return copyProperty(text.c_str(), text.size() + 1, size_bytes, value, needed);
}

cl_int CL_API_CALL getDeviceIds(cl_platform_id platform, cl_device_type type, cl_uint entries, cl_device_id* devices,
                                cl_uint* count) {
  const TestPlatform* own = findPlatform(platform);
  if (own == nullptr) {
    return state().below.clGetDeviceIDs(platform, type, entries, devices, count);
  }
  return (type & CL_DEVICE_TYPE_GPU) == 0 || own->devices.empty() ? CL_DEVICE_NOT_FOUND
                                                                  : copyHandles(own->devices, entries, devices, count);
}

// The code with which this call has to fail, CL_SUCCESS when it may pass.
cl_int nextFault(const char* name) {
  const auto found = state().faults.find(name);
  if (found == state().faults.end() || found->second.skip-- > 0) {
    return CL_SUCCESS;
  }
  return found->second.times-- > 0 ? found->second.code : CL_SUCCESS;
}

cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info name, std::size_t size_bytes, void* value,
                                 std::size_t* needed) {
  if (const cl_int fault = nextFault("clGetDeviceInfo"); fault != CL_SUCCESS) {
    return fault;
  }
  const TestDevice* own = findDevice(device);
  if (own != nullptr && name == CL_DEVICE_HOST_UNIFIED_MEMORY) {
    const cl_bool unified_memory = own->unified_memory ? CL_TRUE : CL_FALSE;
    return copyProperty(&unified_memory, sizeof unified_memory, size_bytes, value, needed);
  }
  if (own != nullptr && name == CL_DEVICE_MAX_WORK_GROUP_SIZE) {
    return copyProperty(&own->max_work_group_items, sizeof own->max_work_group_items, size_bytes, value, needed);
  }
  return state().below.clGetDeviceInfo(realDevice(device), name, size_bytes, value, needed);
}

// What goes down in place of an argument: the real device in place of a test's, alone or in a list of one.
template <typename T> T goingDown(T argument) {
  if constexpr (std::is_same_v<T, const cl_device_id*>) {
    static cl_device_id only = nullptr;
    if (argument == nullptr || findDevice(*argument) == nullptr) {
      return argument;
    }
    only = realDevice(*argument);
    return &only;
  } else if constexpr (std::is_same_v<T, cl_device_id>) {
    return realDevice(argument);
  } else {
    return argument;
  }
}

// The hook of a function, named by its place in the dispatch table.
template <auto Member> struct Hook;
template <typename Result, typename... Arguments, Result (CL_API_CALL* cl_icd_dispatch::*Member)(Arguments...)>
struct Hook<Member> {
  static inline const char* name = nullptr;
  static inline Result(CL_API_CALL* down)(Arguments...) = nullptr;

  static void install(const char* function) {
    name = function;
    down = state().layer.*Member;
    state().layer.*Member = call;
  }

  static Result CL_API_CALL call(Arguments... arguments) {
    const cl_int fault = nextFault(name);
    if constexpr (std::is_same_v<Result, cl_int>) {
      const void* handle = nullptr;
      if constexpr (std::is_pointer_v<std::tuple_element_t<0, std::tuple<Arguments...>>>) {
        handle = std::get<0>(std::tie(arguments...));
      }
      state().calls.push_back({name, handle});
      return fault != CL_SUCCESS ? fault : down(goingDown(arguments)...);
    } else {
      cl_int* const result = std::get<sizeof...(Arguments) - 1>(std::tie(arguments...));
      if (fault != CL_SUCCESS && result != nullptr) {
        *result = fault;
      }
      const Result handle = fault != CL_SUCCESS ? nullptr : down(goingDown(arguments)...);
      state().calls.push_back({name, handle});
      return handle;
    }
  }
};

void installHooks() {
#define INSTALL(function) Hook<&cl_icd_dispatch::function>::install(#function)
#define INSTALL_REFERENCES(kind) (INSTALL(clRetain##kind), INSTALL(clRelease##kind))
  INSTALL_REFERENCES(Device);
  INSTALL_REFERENCES(Context);
  INSTALL_REFERENCES(CommandQueue);
  INSTALL_REFERENCES(Program);
  INSTALL_REFERENCES(Kernel);
  INSTALL_REFERENCES(Sampler);
  INSTALL_REFERENCES(MemObject);
  INSTALL(clGetPlatformIDs);
  INSTALL(clCreateContext);
  INSTALL(clCreateCommandQueue);
  INSTALL(clCreateProgramWithSource);
  INSTALL(clBuildProgram);
  INSTALL(clGetProgramBuildInfo);
  INSTALL(clCreateKernel);
  INSTALL(clSetKernelArg);
  INSTALL(clCreateSampler);
  INSTALL(clCreateBuffer);
  INSTALL(clCreateImage);
  INSTALL(clEnqueueFillImage);
  INSTALL(clEnqueueWriteBuffer);
  INSTALL(clEnqueueWriteImage);
  INSTALL(clEnqueueNDRangeKernel);
  INSTALL(clFinish);
  INSTALL(clEnqueueReadImage);
#undef INSTALL_REFERENCES
#undef INSTALL
}

} // namespace

OpenClTestLayer::OpenClTestLayer() {
  cl_uint count = 0;
  clGetPlatformIDs(0, nullptr, &count); // the loader opens its layers at the first call
  if (state().layer.clGetPlatformIDs == nullptr) {
    throw std::runtime_error("OPENCL_LAYERS does not list the tests' layer");
  }
  reset();
}

void OpenClTestLayer::reset() {
  state().faults.clear();
  setPlatforms({});
  state().calls.clear();
}

void OpenClTestLayer::fail(const std::string& function, std::int32_t code, int skip, int times) {
  state().faults[function] = {code, skip, times};
}

void OpenClTestLayer::setPlatforms(const std::vector<TestPlatform>& platforms) {
  for (const TestPlatform& platform : state().generations.emplace_back(platforms)) {
    for (const TestDevice& device : platform.devices) {
      state().devices.insert(&device);
    }
  }
}

const void* OpenClTestLayer::deviceHandle(std::size_t platform, std::size_t device) const {
  return &state().generations.back().at(platform).devices.at(device);
}

std::span<const OpenClCall> OpenClTestLayer::calls() const {
  return state().calls;
}

std::vector<std::string> OpenClTestLayer::namesSince(std::size_t first) const {
  std::vector<std::string> names;
  for (const OpenClCall& call : calls().subspan(first)) {
    names.push_back(call.name);
  }
  return names;
}

} // namespace vorin::tests

extern "C" {

cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size_bytes, void* value, std::size_t* needed) {
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  return name == CL_LAYER_API_VERSION ? vorin::tests::copyProperty(&version, sizeof version, size_bytes, value, needed)
                                      : CL_INVALID_VALUE;
}

cl_int CL_API_CALL clInitLayer(cl_uint entries, const cl_icd_dispatch* target, cl_uint* layer_entries,
                               const cl_icd_dispatch** layer_dispatch) {
  vorin::tests::State& state = vorin::tests::state();
  const std::size_t known = std::min<std::size_t>(entries, sizeof(cl_icd_dispatch) / sizeof(void*));
  std::memcpy(&state.below, target, known * sizeof(void*));
  state.layer = state.below;
  state.generations.emplace_back();
  state.layer.clGetPlatformIDs = vorin::tests::getPlatformIds;
  state.layer.clGetPlatformInfo = vorin::tests::getPlatformInfo;
  state.layer.clGetDeviceIDs = vorin::tests::getDeviceIds;
  state.layer.clGetDeviceInfo = vorin::tests::getDeviceInfo;
  vorin::tests::installHooks();
  *layer_entries = static_cast<cl_uint>(known);
  *layer_dispatch = &state.layer;
  return CL_SUCCESS;
}

} // extern "C"
