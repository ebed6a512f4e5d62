#include "module_path.h"

#include <string>
#include <windows.h>

namespace vorin::stylize {

std::filesystem::path modulePath(const wchar_t* name) {
  const HMODULE module = GetModuleHandleW(name);
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = module == nullptr ? 0 : GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

} // namespace vorin::stylize
