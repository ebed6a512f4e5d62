// Narrow text of Windows is text in the ANSI code page. A character that the code page lacks becomes the nearest one it has, or
// "?", and then names another file: the system's own rule, which the library leaves as it is.
#include "platform/platform.h"

#include <windows.h>

namespace vorin::platform {

// Both ask for the length first, the NUL included, and leave the NUL out of the result.

std::wstring toWide(const std::string& narrow) {
  const int length = ::MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, nullptr, 0);
  if (length <= 1) {
    return {};
  }
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  if (::MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, wide.data(), length) == 0) {
    return {};
  }
  wide.pop_back();
  return wide;
}

std::string toNarrow(const std::wstring& wide) {
  const int length = ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (length <= 1) {
    return {};
  }
  std::string narrow(static_cast<std::size_t>(length), '\0');
  if (::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, narrow.data(), length, nullptr, nullptr) == 0) {
    return {};
  }
  narrow.pop_back();
  return narrow;
}

} // namespace vorin::platform
