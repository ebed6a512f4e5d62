// Narrow text of Windows is text in the ANSI code page. A character that the code page lacks becomes the nearest one it has, or
// "?", and then names another file: the system's own rule, which the library leaves as it is.
#include "platform/platform.h"

#include <windows.h>

namespace vorin::platform {
namespace {

// Queries the length first, including the NUL, and leaves the NUL out of the result; so does toWide.
std::string fromWide(UINT code_page, const std::wstring& wide) {
  const int length = ::WideCharToMultiByte(code_page, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (length <= 1) {
    return {};
  }
  std::string text(static_cast<std::size_t>(length), '\0');
  if (::WideCharToMultiByte(code_page, 0, wide.c_str(), -1, text.data(), length, nullptr, nullptr) == 0) {
    return {};
  }
  text.pop_back();
  return text;
}

} // namespace

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
  return fromWide(CP_ACP, wide);
}

std::string toUtf8(const std::string& narrow) {
  return fromWide(CP_UTF8, toWide(narrow));
}

} // namespace vorin::platform
