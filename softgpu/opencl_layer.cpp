// A stand-in for the supported vendor's GPU in OpenCL: a layer of the OpenCL loader (OPENCL_LAYERS=<this file>) over PoCL, which
// runs OpenCL on the processor, or over the platform that VORIN_SOFTGPU_PLATFORM names, which may be that of another vendor's
// GPUs. A library that is linked with this file before the loader gets the same answers, alone in its process and without
// OPENCL_LAYERS.
//
// Two answers differ from the platform's own: its vendor text carries the vendor word, and a query that asks for GPUs finds the
// processor devices too. All else, and every other platform, passes through untouched. The layer interface is that of Khronos'
// <CL/cl_layer.h>.
#define CL_TARGET_OPENCL_VERSION 120

#include <CL/cl.h>
#include <CL/cl_icd.h>
#include <CL/cl_layer.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <mutex>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kPoclName = "Portable Computing Language";
constexpr std::string_view kVendorPrefix = "Merix stand-in: ";

// The loader, or the layer under this one. If this file is linked rather than loaded as a layer, nothing calls clInitLayer, and
// these are the functions of the loader that is linked behind this file, whatever its name in a package.
cl_icd_dispatch below = [] {
  cl_icd_dispatch loader = {};
  loader.clGetPlatformInfo = reinterpret_cast<cl_api_clGetPlatformInfo>(dlsym(RTLD_NEXT, "clGetPlatformInfo"));
  loader.clGetDeviceIDs = reinterpret_cast<cl_api_clGetDeviceIDs>(dlsym(RTLD_NEXT, "clGetDeviceIDs"));
  return loader;
}();
cl_icd_dispatch layer; // the functions for callers: `below`, except for the two of this file

// A text property of a platform, empty when it cannot be read.
std::string platformText(cl_platform_id platform, cl_platform_info name) {
  std::size_t size_bytes = 0;
  if (below.clGetPlatformInfo(platform, name, 0, nullptr, &size_bytes) != CL_SUCCESS || size_bytes == 0) {
    return {};
  }
  std::string text(size_bytes, '\0');
  if (below.clGetPlatformInfo(platform, name, size_bytes, text.data(), nullptr) != CL_SUCCESS) {
    return {};
  }
  text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
  return text;
}

bool isStandIn(cl_platform_id platform) {
  static const std::string name = [] {
    const char* wanted = std::getenv("VORIN_SOFTGPU_PLATFORM");
    return wanted != nullptr ? std::string(wanted) : std::string(kPoclName);
  }();
  return platformText(platform, CL_PLATFORM_NAME) == name;
}

cl_int CL_API_CALL getPlatformInfo(cl_platform_id platform, cl_platform_info name, std::size_t size_bytes, void* value,
                                   std::size_t* size_needed) {
  if (name != CL_PLATFORM_VENDOR || !isStandIn(platform)) {
    return below.clGetPlatformInfo(platform, name, size_bytes, value, size_needed);
  }
  const std::string vendor = std::string(kVendorPrefix) + platformText(platform, CL_PLATFORM_VENDOR);
  if (value != nullptr) {
    if (size_bytes < vendor.size() + 1) {
      return CL_INVALID_VALUE;
    }
    std::memcpy(value, vendor.c_str(), vendor.size() + 1);
  }
  if (size_needed != nullptr) {
    *size_needed = vendor.size() + 1;
  }
  return CL_SUCCESS;
}

// One call at a time: while one thread's first query sets the devices up, PoCL 3.1 gives them half made to another's.
cl_int CL_API_CALL getDeviceIds(cl_platform_id platform, cl_device_type type, cl_uint entries, cl_device_id* devices,
                                cl_uint* count) {
  static std::recursive_mutex one_call; // PoCL may ask itself through the loader
  const std::lock_guard<std::recursive_mutex> lock(one_call);
  if ((type & CL_DEVICE_TYPE_GPU) != 0 && isStandIn(platform)) {
    type |= CL_DEVICE_TYPE_CPU;
  }
  return below.clGetDeviceIDs(platform, type, entries, devices, count);
}

} // namespace

extern "C" {

// What a library that is linked with this file calls.
__attribute__((visibility("default"))) cl_int CL_API_CALL clGetPlatformInfo(cl_platform_id platform, cl_platform_info name,
                                                                            std::size_t size_bytes, void* value,
                                                                            std::size_t* size_needed) {
  return getPlatformInfo(platform, name, size_bytes, value, size_needed);
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clGetDeviceIDs(cl_platform_id platform, cl_device_type type,
                                                                         cl_uint entries, cl_device_id* devices, cl_uint* count) {
  return getDeviceIds(platform, type, entries, devices, count);
}

// What the loader calls.
__attribute__((visibility("default"))) cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size_bytes, void* value,
                                                                         std::size_t* size_needed) {
  if (name != CL_LAYER_API_VERSION) {
    return CL_INVALID_VALUE;
  }
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  if (value != nullptr) {
    if (size_bytes < sizeof version) {
      return CL_INVALID_VALUE;
    }
    std::memcpy(value, &version, sizeof version);
  }
  if (size_needed != nullptr) {
    *size_needed = sizeof version;
  }
  return CL_SUCCESS;
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clInitLayer(cl_uint entries, const cl_icd_dispatch* target,
                                                                      cl_uint* layer_entries,
                                                                      const cl_icd_dispatch** layer_dispatch) {
  if (target == nullptr || layer_entries == nullptr || layer_dispatch == nullptr) {
    return CL_INVALID_VALUE;
  }
  constexpr std::size_t kEntries = sizeof(cl_icd_dispatch) / sizeof(void*);
  const std::size_t known = std::min<std::size_t>(entries, kEntries); // an older loader knows fewer functions
  std::memcpy(&below, target, known * sizeof(void*));
  layer = below;
  layer.clGetPlatformInfo = getPlatformInfo;
  layer.clGetDeviceIDs = getDeviceIds;
  *layer_entries = static_cast<cl_uint>(known);
  *layer_dispatch = &layer;
  return CL_SUCCESS;
}

// Newer loaders, which unload their layers, take a layer only with these two. Debian's header does not declare them yet; the last
// parameter is a list of properties that ends with 0, of which none is defined.
__attribute__((visibility("default"))) cl_int CL_API_CALL clInitLayerWithProperties(cl_uint entries,
                                                                                    const cl_icd_dispatch* target,
                                                                                    cl_uint* layer_entries,
                                                                                    const cl_icd_dispatch** layer_dispatch,
                                                                                    const cl_properties* properties) {
  if (properties != nullptr && *properties != 0) {
    return CL_INVALID_PROPERTY;
  }
  return clInitLayer(entries, target, layer_entries, layer_dispatch);
}

__attribute__((visibility("default"))) cl_int CL_API_CALL clDeinitLayer() {
  return CL_SUCCESS;
}

} // extern "C"
