// A stand-in for the GPU in OpenVINO: a plugin library that lets the CPU plugin make its plugin object and names that object
// "GPU". It passes on the CPU plugin's own operations too, without which the runtime cannot read a compiled network back from its
// cache.
//
// It lies in a folder of links to the runtime's libraries, beside the plugins.xml that makes the runtime load it for "GPU". The
// runtime's plugin interface is not among its public headers; the one member used here is declared with the signature it exports.
#include <openvino/core/except.hpp>
#include <openvino/core/extension.hpp>

#include <cstdio>
#include <dlfcn.h>
#include <memory>
#include <string>
#include <vector>

namespace ov {

class IPlugin {
public:
  void set_device_name(const std::string& name);
};

} // namespace ov

namespace {

using CreatePlugin = void (*)(std::shared_ptr<ov::IPlugin>&);
using CreateExtensions = void (*)(std::vector<std::shared_ptr<ov::Extension>>&);

constexpr const char* kCpuPlugin = "libopenvino_intel_cpu_plugin.so";

// Throws, and also prints the reason: the runtime silently drops a device whose plugin fails.
[[noreturn]] void fail(const std::string& reason) {
  const std::string message = "softgpu: no stand-in for OpenVINO's GPU: " + reason;
  static_cast<void>(std::fprintf(stderr, "%s\n", message.c_str()));
  OPENVINO_THROW(message);
}

// Finds an entry of the CPU plugin in the file beside this one, the very library that the runtime loads for "CPU".
void* findCpuPluginEntry(const char* name) {
  std::string path = kCpuPlugin;
  Dl_info self{};
  if (dladdr(reinterpret_cast<const void*>(&findCpuPluginEntry), &self) != 0 && self.dli_fname != nullptr) {
    const std::string own_path = self.dli_fname;
    path.insert(0, own_path, 0, own_path.rfind('/') + 1);
  }
  void* library = dlopen(path.c_str(), RTLD_NOW); // stays open: the plugin object's code lives in it
  void* entry = library == nullptr ? nullptr : dlsym(library, name);
  if (entry == nullptr) {
    const char* reason = dlerror();
    fail(reason == nullptr ? path + " has no entry " + name : reason);
  }
  return entry;
}

} // namespace

// Called by the runtime, which dereferences the plugin it gets, so a failure must be an exception.
extern "C" __attribute__((visibility("default"))) void create_plugin_engine(std::shared_ptr<ov::IPlugin>& plugin) {
  reinterpret_cast<CreatePlugin>(findCpuPluginEntry("create_plugin_engine"))(plugin);
  if (plugin == nullptr) {
    fail("the CPU plugin made no plugin");
  }
  plugin->set_device_name("GPU");
}

// Called by the runtime after create_plugin_engine.
extern "C" __attribute__((visibility("default"))) void
create_extensions(std::vector<std::shared_ptr<ov::Extension>>& extensions) {
  reinterpret_cast<CreateExtensions>(findCpuPluginEntry("create_extensions"))(extensions);
}
