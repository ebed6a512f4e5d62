#include "text.h"

#include <algorithm>
#include <cctype>
#include <system_error>

namespace vorin::base {

std::filesystem::path pathFromUtf8(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

std::string utf8Text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string lowerCaseExtension(const std::filesystem::path& file) {
  std::string extension = utf8Text(file.extension());
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

namespace {

std::string withoutControls(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    if (isControl(character)) {
      const auto byte = static_cast<unsigned char>(character);
      result += {'\\', 'x', kDigits[byte / 16U], kDigits[byte % 16U]};
    } else {
      result += character;
    }
  }
  return result;
}

} // namespace

std::string quoted(const std::string& name) {
  return std::string("'").append(withoutControls(name)).append("'");
}

std::string quotedPath(const std::filesystem::path& file) {
  return quoted(utf8Text(file));
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    text.append(&part == &parts.front() ? std::string_view() : separator).append(part);
  }
  return text;
}

std::string hexadecimalText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += {kDigits[byte / 16U], kDigits[byte % 16U]};
  }
  return text;
}

std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char character) { return character == '\n' || character == '\r' || character == '\t'; }, ' ');
  return withoutControls(text);
}

} // namespace vorin::base
