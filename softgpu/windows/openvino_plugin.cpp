// A stand-in for the GPU in OpenVINO on Windows; posix/openvino_plugin.cpp is its counterpart on other systems.
//
// The runtime is built with another compiler than this library may be. So this file uses none of its C++ headers: it finds
// functions by their exported names, passes objects through as untouched pointers, and builds the one text argument by hand in
// the layout of the runtime's standard library.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <windows.h>

namespace {

// A std::string of the runtime's standard library, to be read only: up to 15 characters lie in the object itself.
class RuntimeString {
public:
  // The text must outlive the object.
  explicit RuntimeString(const char* text) : size_(std::strlen(text)) {
    if (size_ < sizeof content_.own) {
      std::memcpy(content_.own, text, size_ + 1);
    } else {
      content_.elsewhere = text;
      capacity_ = size_;
    }
  }

private:
  union {
    char own[16] = {};
    const char* elsewhere;
  } content_;
  std::size_t size_;
  std::size_t capacity_ = sizeof content_.own - 1;
};

// A std::shared_ptr of that library: the address of the object, then that of the count of its owners.
struct RuntimePointer {
  void* object;
  void* owners;
};

using CreatePlugin = void (*)(RuntimePointer*);
using CreateExtensions = void (*)(void*);
using SetDeviceName = void (*)(void* plugin, const RuntimeString*);
using Throw = void (*)(const char* file, int line, const RuntimeString* explanation);

constexpr const wchar_t* kCpuPlugin = L"openvino_intel_cpu_plugin.dll";
constexpr const wchar_t* kRuntime = L"openvino.dll";
constexpr const char* kSetDeviceName =
    "?set_device_name@IPlugin@ov@@QEAAXAEBV?$basic_string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@@Z";
constexpr const char* kThrow =
    "?create@Exception@ov@@SAXPEBDHAEBV?$basic_string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@@Z";

template <typename Function> Function findEntry(HMODULE library, const char* name) {
  FARPROC entry = library == nullptr ? nullptr : GetProcAddress(library, name);
  Function function = nullptr;
  static_assert(sizeof function == sizeof entry);
  std::memcpy(&function, &entry, sizeof function);
  return function;
}

// Throws an exception of the runtime's own type, the only one that its compiler can catch. It passes through this file's
// functions, so those must hold no object with a destructor. Also prints the reason: the runtime silently drops a device whose
// plugin fails.
[[noreturn]] void fail(const char* reason) {
  char message[512];
  static_cast<void>(std::snprintf(message, sizeof message, "softgpu: no stand-in for OpenVINO's GPU: %s", reason));
  static_cast<void>(std::fprintf(stderr, "%s\n", message));
  const RuntimeString explanation(message);
  if (const auto throw_exception = findEntry<Throw>(GetModuleHandleW(kRuntime), kThrow)) {
    throw_exception(__FILE__, __LINE__, &explanation);
  }
  ExitProcess(1);
}

std::wstring pathOf(HMODULE library) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

// Loads the CPU plugin from the place that plugins.xml names, the very library that the runtime loads for "CPU". It lies beside
// this library, or in the folder of a program that has the stand-ins below it.
HMODULE loadCpuPlugin() {
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&loadCpuPlugin), &self);
  const std::wstring own_path = pathOf(self);
  const std::wstring folder = own_path.substr(0, own_path.find_last_of(L"\\/") + 1);
  HMODULE library = nullptr;
  for (const wchar_t* const place : {L"", L"..\\..\\"}) {
    if (library == nullptr) {
      library = LoadLibraryExW((folder + place + kCpuPlugin).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
  }
  return library; // stays loaded: the plugin object's code lives in it
}

} // namespace

// Called by the runtime, which dereferences the plugin it gets, so a failure must be an exception.
extern "C" __declspec(dllexport) void create_plugin_engine(RuntimePointer* plugin) {
  const auto create = findEntry<CreatePlugin>(loadCpuPlugin(), "create_plugin_engine");
  if (create == nullptr) {
    fail("openvino_intel_cpu_plugin.dll cannot be loaded");
  }
  const auto set_device_name = findEntry<SetDeviceName>(GetModuleHandleW(kRuntime), kSetDeviceName);
  if (set_device_name == nullptr) {
    fail("openvino.dll has no entry for a plugin's name: its version differs");
  }
  create(plugin);
  if (plugin->object == nullptr) {
    fail("the CPU plugin made no plugin");
  }
  const RuntimeString name("GPU");
  set_device_name(plugin->object, &name);
}

// Called by the runtime after create_plugin_engine. Adds the CPU plugin's own operations, without which the runtime cannot read a
// compiled network from its cache.
extern "C" __declspec(dllexport) void create_extensions(void* extensions) {
  const auto create = findEntry<CreateExtensions>(loadCpuPlugin(), "create_extensions");
  if (create == nullptr) {
    fail("openvino_intel_cpu_plugin.dll has no entry create_extensions");
  }
  create(extensions);
}
