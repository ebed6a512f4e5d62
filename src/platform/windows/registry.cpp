// The log's switch on Windows: a number in the registry.
#include "platform/platform.h"

#include <windows.h>

namespace vorin::platform {

std::optional<std::uint32_t> readLogSwitch() {
  HKEY key = nullptr;
  if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Merix\\Tolvk\\Debug", 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  // The key is deliberately never closed: each object that is made leaves one open until the process ends.
  std::uint32_t value = 0;
  DWORD size_bytes = sizeof value;
  // Any type of 4 bytes is a number.
  if (::RegQueryValueExA(key, "DumpSTLog", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size_bytes) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return value;
}

} // namespace vorin::platform
