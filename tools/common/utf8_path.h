// utf8_path.h: names of files as the programs read and show them: UTF-8 on every system, whatever the system's own text is.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vorin::tools {

inline std::filesystem::path pathFromUtf8(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

// As it was written, separators included. Where a system's names are bytes, these bytes.
inline std::string utf8Text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

} // namespace vorin::tools
