// utf8_path.h: names of files as the programs read and show them: UTF-8 on every system, whatever the system's own text is.
#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace vorin::base {

inline std::filesystem::path pathFromUtf8(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

// As it was written, separators included. Where a system's names are bytes, these bytes.
inline std::string utf8Text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// Such as ".jpg". Letters beyond ASCII stay as they are.
inline std::string lowerCaseExtension(const std::filesystem::path& file) {
  std::string extension = utf8Text(file.extension());
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

// Whether the path leads to a folder, as far as can be seen.
inline bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

} // namespace vorin::base
