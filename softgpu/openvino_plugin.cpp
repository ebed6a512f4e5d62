// A stand-in for the GPU in OpenVINO: a plugin library that lets the CPU plugin make its plugin object and names that object "GPU".
//
// It lies in a folder of links to the runtime's libraries, beside the plugins.xml that makes the runtime load it for "GPU". The
// runtime's plugin interface is not among its public headers; the one member used here is declared with the signature it exports.
#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <string>

namespace ov {

class IPlugin {
public:
  void set_device_name(const std::string& name);
};

} // namespace ov

namespace {

using CreatePlugin = void (*)(std::shared_ptr<ov::IPlugin>&);

constexpr const char* kCpuPlugin = "libopenvino_intel_cpu_plugin.so";

// The CPU plugin's own entry: of the file beside this one, so that it is the very library that the runtime loads for "CPU".
CreatePlugin findCpuPlugin() {
  std::string path = kCpuPlugin;
  Dl_info self{};
  if (dladdr(reinterpret_cast<const void*>(&findCpuPlugin), &self) != 0 && self.dli_fname != nullptr) {
    const std::string own_path = self.dli_fname;
    path.insert(0, own_path, 0, own_path.rfind('/') + 1);
  }
  void* library = dlopen(path.c_str(), RTLD_NOW); // stays open: the plugin object's code lives in it
  void* entry = library == nullptr ? nullptr : dlsym(library, "create_plugin_engine");
  if (entry == nullptr) {
    const char* reason = dlerror();
    static_cast<void>(std::fprintf(stderr, "softgpu: no stand-in for OpenVINO's GPU: %s\n", reason == nullptr ? "?" : reason));
  }
  return reinterpret_cast<CreatePlugin>(entry);
}

} // namespace

// Called by the runtime. When it leaves `plugin` empty, the runtime reports that the device's plugin could not be made.
extern "C" __attribute__((visibility("default"))) void create_plugin_engine(std::shared_ptr<ov::IPlugin>& plugin) {
  const CreatePlugin create_cpu_plugin = findCpuPlugin();
  if (create_cpu_plugin == nullptr) {
    return;
  }
  create_cpu_plugin(plugin);
  if (plugin == nullptr) {
    static_cast<void>(std::fputs("softgpu: the CPU plugin made no plugin\n", stderr));
    return;
  }
  plugin->set_device_name("GPU");
}
