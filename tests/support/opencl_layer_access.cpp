#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_test_layer.h"

#include <CL/cl.h>

#include <algorithm>
#include <dlfcn.h>
#include <stdexcept>

namespace vorin::tests {

OpenClTestLayer& openClTestLayer() {
  cl_uint count = 0;
  clGetPlatformIDs(0, nullptr, &count); // the loader opens its layers at the first call
  void* library = dlopen(VORIN_OPENCL_TEST_LAYER, RTLD_NOW | RTLD_NOLOAD);
  void* entry = library == nullptr ? nullptr : dlsym(library, "vorinOpenClTestLayer");
  if (entry == nullptr) {
    throw std::runtime_error("OPENCL_LAYERS does not list " VORIN_OPENCL_TEST_LAYER);
  }
  OpenClTestLayer& layer = *reinterpret_cast<decltype(&vorinOpenClTestLayer)>(entry)();
  dlclose(library); // gives back this look-up's own reference
  layer.reset();
  return layer;
}

std::size_t countCalls(const OpenClTestLayer& layer, std::string_view function) {
  return static_cast<std::size_t>(
      std::count_if(layer.calls().begin(), layer.calls().end(), [&](const OpenClCall& call) { return call.name == function; }));
}

} // namespace vorin::tests
