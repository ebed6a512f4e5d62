#include "platform/windows/display_adapters.h"

#include <dxgi.h>
#include <memory>
#include <type_traits>
#include <windows.h>

namespace vorin::platform {
namespace {

struct LibraryUnloader {
  void operator()(HMODULE library) const { ::FreeLibrary(library); }
};
using Library = std::unique_ptr<std::remove_pointer_t<HMODULE>, LibraryUnloader>;

struct InterfaceReleaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface> using InterfacePointer = std::unique_ptr<Interface, InterfaceReleaser>;

using FactoryMaker = HRESULT(WINAPI*)(REFIID interface_id, void** factory);

FactoryMaker findFactoryMaker(HMODULE library) {
  for (const char* name : {"CreateDXGIFactory1", "CreateDXGIFactory"}) {
    if (const FARPROC entry = ::GetProcAddress(library, name)) {
      return reinterpret_cast<FactoryMaker>(reinterpret_cast<void (*)()>(entry));
    }
  }
  return nullptr;
}

InterfacePointer<IDXGIFactory> makeFactory(HMODULE library) {
  void* factory = nullptr;
  const FactoryMaker make = findFactoryMaker(library);
  if (make == nullptr || FAILED(make(IID_IDXGIFactory, &factory))) {
    return nullptr;
  }
  return InterfacePointer<IDXGIFactory>(static_cast<IDXGIFactory*>(factory));
}

InterfacePointer<IDXGIAdapter> adapterAt(IDXGIFactory& factory, UINT index) {
  IDXGIAdapter* adapter = nullptr;
  return InterfacePointer<IDXGIAdapter>(FAILED(factory.EnumAdapters(index, &adapter)) ? nullptr : adapter);
}

} // namespace

std::vector<DisplayAdapter> listDisplayAdaptersThrough(const wchar_t* dxgi_library) {
  std::vector<DisplayAdapter> adapters;
  const Library library(::LoadLibraryExW(dxgi_library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  const InterfacePointer<IDXGIFactory> factory = library ? makeFactory(library.get()) : nullptr;
  if (!factory) {
    return adapters;
  }
  for (UINT index = 0;; ++index) {
    const InterfacePointer<IDXGIAdapter> adapter = adapterAt(*factory, index);
    if (!adapter) {
      return adapters;
    }
    DXGI_ADAPTER_DESC description = {};
    if (SUCCEEDED(adapter->GetDesc(&description))) {
      adapters.push_back({description.VendorId, description.DeviceId, description.DedicatedVideoMemory});
    }
  }
}

std::vector<DisplayAdapter> listDisplayAdapters() {
  return listDisplayAdaptersThrough(L"dxgi.dll");
}

} // namespace vorin::platform
