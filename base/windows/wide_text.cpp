#include "wide_text.h"

namespace vorin::base {

std::string utf8FromWide(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), bytes, nullptr, nullptr);
  return text;
}

} // namespace vorin::base
