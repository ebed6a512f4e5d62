// A stand-in for the GPU in OpenVINO on Windows: what posix/openvino_plugin.cpp is elsewhere.
//
// The runtime is built with another compiler than this library may be. So nothing of its C++ headers is used: its functions are
// found by the names under which it exports them, objects pass through as untouched pointers, and the one text that a function
// takes is laid out by hand as the runtime's standard library lays it out.
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

// A std::shared_ptr of it: the object's address, then its owners' count.
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

// Ends the runtime's call by an exception of the runtime's own, the only one that its compiler can catch. No object with a
// destructor may live in the functions that it passes. Says what is wrong on standard error too: the runtime leaves a device out
// of its list without a word when its plugin fails.
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

// The CPU plugin where plugins.xml has the runtime look for it, so that it is the very library that is loaded for "CPU": beside
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

// Called by the runtime, which dereferences the plugin it gets: without one only an exception will do.
extern "C" __declspec(dllexport) void create_plugin_engine(RuntimePointer* plugin) {
  const auto create = findEntry<CreatePlugin>(loadCpuPlugin(), "create_plugin_engine");
  if (create == nullptr) {
    fail("openvino_intel_cpu_plugin.dll cannot be loaded");
  }
  const auto set_device_name = findEntry<SetDeviceName>(GetModuleHandleW(kRuntime), kSetDeviceName);
  if (set_device_name == nullptr) {
    fail("openvino.dll has no entry for a plugin's name, it is of another version");
  }
  create(plugin);
  if (plugin->object == nullptr) {
    fail("the CPU plugin made no plugin");
  }
  const RuntimeString name("GPU");
  set_device_name(plugin->object, &name);
}

// Called by the runtime after it; without the CPU plugin's own operations a compiled network does not come back from the cache.
extern "C" __declspec(dllexport) void create_extensions(void* extensions) {
  const auto create = findEntry<CreateExtensions>(loadCpuPlugin(), "create_extensions");
  if (create == nullptr) {
    fail("openvino_intel_cpu_plugin.dll has no operations of its own");
  }
  create(extensions);
}
