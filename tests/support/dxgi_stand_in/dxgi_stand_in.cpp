// A dxgi.dll for tests, which lists the adapters in the variable VORIN_TEST_ADAPTERS: each is "vendor:device:dedicated MiB"
// (vendor and device in hexadecimal), or "silent" for one that does not describe itself; "none" makes the factory fail. It counts
// the objects not yet released in VORIN_TEST_ADAPTERS_OPEN and sets VORIN_TEST_ADAPTERS_LOADED.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <dxgi.h>
#include <sstream>
#include <string>
#include <vector>
#include <windows.h>

namespace {

std::string variable(const char* name) {
  char value[1024] = {};
  const DWORD length = ::GetEnvironmentVariableA(name, value, sizeof value);
  return length < sizeof value ? value : "";
}

std::atomic<int> open_objects = 0;

void countObjects(int change) {
  open_objects += change;
  ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS_OPEN", std::to_string(open_objects).c_str());
}

// The functions that every DXGI object has and that nothing here calls.
template <typename Interface> class Object : public Interface {
public:
  Object() { countObjects(1); }
  virtual ~Object() { countObjects(-1); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  HRESULT WINAPI QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  HRESULT WINAPI SetPrivateData(REFGUID, UINT, const void*) override { return E_NOTIMPL; }
  HRESULT WINAPI SetPrivateDataInterface(REFGUID, const IUnknown*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetPrivateData(REFGUID, UINT*, void*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetParent(REFIID, void**) override { return E_NOTIMPL; }

private:
  ULONG references_ = 1;
};

class Adapter final : public Object<IDXGIAdapter> {
public:
  explicit Adapter(std::string text) : text_(std::move(text)) {}

  HRESULT WINAPI EnumOutputs(UINT, IDXGIOutput**) override { return DXGI_ERROR_NOT_FOUND; }
  HRESULT WINAPI CheckInterfaceSupport(REFGUID, LARGE_INTEGER*) override { return DXGI_ERROR_UNSUPPORTED; }
  HRESULT WINAPI GetDesc(DXGI_ADAPTER_DESC* description) override {
    *description = {};
    std::uint64_t memory_mib = 0;
    char colon = 0;
    std::istringstream text(text_);
    if (!(text >> std::hex >> description->VendorId >> colon >> description->DeviceId >> colon >> std::dec >> memory_mib)) {
      return E_FAIL;
    }
    description->DedicatedVideoMemory = memory_mib << 20;
    return S_OK;
  }

private:
  std::string text_;
};

class Factory final : public Object<IDXGIFactory> {
public:
  explicit Factory(const std::string& adapters) {
    std::istringstream words(adapters);
    for (std::string text; words >> text;) {
      adapters_.push_back(text);
    }
  }

  HRESULT WINAPI EnumAdapters(UINT index, IDXGIAdapter** adapter) override {
    *adapter = nullptr;
    if (index >= adapters_.size()) {
      return DXGI_ERROR_NOT_FOUND;
    }
    *adapter = new Adapter(adapters_[index]);
    return S_OK;
  }
  HRESULT WINAPI MakeWindowAssociation(HWND, UINT) override { return E_NOTIMPL; }
  HRESULT WINAPI GetWindowAssociation(HWND*) override { return E_NOTIMPL; }
  HRESULT WINAPI CreateSwapChain(IUnknown*, DXGI_SWAP_CHAIN_DESC*, IDXGISwapChain**) override { return E_NOTIMPL; }
  HRESULT WINAPI CreateSoftwareAdapter(HMODULE, IDXGIAdapter**) override { return E_NOTIMPL; }

private:
  std::vector<std::string> adapters_;
};

} // namespace

extern "C" {

// Exported by the .def files under one or both of DXGI's names.
HRESULT WINAPI makeStandInFactory(REFIID interface_id, void** factory) {
  *factory = nullptr;
  const std::string adapters = variable("VORIN_TEST_ADAPTERS");
  if (adapters == "none" || std::memcmp(&interface_id, &IID_IDXGIFactory, sizeof interface_id) != 0) {
    return E_FAIL;
  }
  *factory = static_cast<IDXGIFactory*>(new Factory(adapters));
  return S_OK;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    ::SetEnvironmentVariableA("VORIN_TEST_ADAPTERS_LOADED", "1");
  }
  return TRUE;
}

} // extern "C"
