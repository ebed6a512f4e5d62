// The tests' layer of the OpenCL loader: see opencl_test_layer.h.
#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_layer_platforms.h"
#include "support/opencl_layer_state.h"

#include <CL/cl.h>
#include <CL/cl_icd.h>
#include <CL/cl_layer.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>

namespace {

using vorin::tests::OpenClCall;
using vorin::tests::OpenClLayerState;

cl_icd_dispatch below; // the loader, or the layer under this one
cl_icd_dispatch inner; // `below` with the test's platforms
cl_icd_dispatch layer; // the functions for programs: `inner` with notes and faults
OpenClLayerState* state = nullptr;

// Makes a new file for the state; null if none is wanted or it cannot be made.
OpenClLayerState* makeState() {
  const char* file = std::getenv(vorin::tests::kOpenClLayerFileVariable);
  const int descriptor = file == nullptr ? -1 : open(file, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    return nullptr;
  }
  void* memory = MAP_FAILED;
  if (ftruncate(descriptor, sizeof(OpenClLayerState)) == 0) {
    memory = mmap(nullptr, sizeof(OpenClLayerState), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  close(descriptor);
  if (memory == MAP_FAILED) {
    return nullptr;
  }
  auto* const made = static_cast<OpenClLayerState*>(memory); // a new file is all zeros, as the state begins
  made->address = reinterpret_cast<std::uint64_t>(made);
  return made;
}

void note(const char* name, const void* handle) {
  const std::uint64_t number = state->call_count++;
  if (number < state->calls.size()) {
    OpenClCall& call = state->calls[number];
    call.function.fill(0);
    std::memcpy(call.function.data(), name, std::min(std::strlen(name), call.function.size() - 1));
    call.handle = reinterpret_cast<std::uint64_t>(handle);
  }
}

// The code with which this call has to fail, CL_SUCCESS when it may pass.
cl_int nextFault(const char* name) {
  for (std::uint32_t i = 0; i < state->fault_count; ++i) {
    OpenClLayerState::Fault& fault = state->faults[i];
    if (std::strcmp(fault.function.data(), name) == 0) {
      if (fault.skip > 0) {
        --fault.skip;
        return CL_SUCCESS;
      }
      return fault.times-- > 0 ? fault.code : CL_SUCCESS;
    }
  }
  return CL_SUCCESS;
}

// What goes down in place of an argument: the real device in place of a test's in a list of one.
template <typename T> T goingDown(T argument) {
  if constexpr (std::is_same_v<T, const cl_device_id*>) {
    static cl_device_id only = nullptr;
    if (argument == nullptr || vorin::tests::translated(*argument) == *argument) {
      return argument;
    }
    only = vorin::tests::translated(*argument);
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
    const cl_int fault = nextFault(name);
    if constexpr (std::is_same_v<Result, cl_int>) {
      const auto first = std::get<0>(std::tie(arguments...));
      if constexpr (std::is_pointer_v<decltype(first)>) {
        note(name, first);
      } else {
        note(name, nullptr);
      }
      return fault != CL_SUCCESS ? fault : (inner.*Member)(goingDown(arguments)...);
    } else {
      cl_int* const result = std::get<sizeof...(Arguments) - 1>(std::tie(arguments...));
      if (fault != CL_SUCCESS) {
        if (result != nullptr) {
          *result = fault;
        }
        note(name, nullptr);
        return nullptr;
      }
      const Result handle = (inner.*Member)(goingDown(arguments)...);
      note(name, handle);
      return handle;
    }
  }
};

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

__attribute__((visibility("default"))) cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size_bytes, void* value,
                                                                         std::size_t* needed) {
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  if (name != CL_LAYER_API_VERSION || (value != nullptr && size_bytes < sizeof version)) {
    return CL_INVALID_VALUE;
  }
  if (value != nullptr) {
    std::memcpy(value, &version, sizeof version);
  }
  if (needed != nullptr) {
    *needed = sizeof version;
  }
  return CL_SUCCESS;
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clInitLayer(cl_uint entries, const cl_icd_dispatch* target,
                                                                      cl_uint* layer_entries,
                                                                      const cl_icd_dispatch** layer_dispatch) {
  state = makeState();
  if (state == nullptr) {
    return CL_INVALID_OPERATION;
  }
  const std::size_t known = std::min<std::size_t>(entries, sizeof(cl_icd_dispatch) / sizeof(void*));
  std::memcpy(&below, target, known * sizeof(void*));
  inner = vorin::tests::withTestPlatforms(below, *state);
  installHooks();
  *layer_entries = static_cast<cl_uint>(known);
  *layer_dispatch = &layer;
  return CL_SUCCESS;
}

} // extern "C"
