#include "entry_name.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vorin::pack {
namespace {

// As JSON escapes it.
std::string escaped(char character) {
  std::array<char, 8> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "\\u%04X", static_cast<unsigned>(static_cast<unsigned char>(character)));
  return {text.data(), static_cast<std::size_t>(length)};
}

// Bytes that follow a first byte of UTF-8; -1 for a byte that cannot be first. Looks at the form only: JSON readers replace the
// rest.
int followers(unsigned char first) {
  if (first < 0x80) {
    return 0;
  }
  if (first >= 0xC2 && first < 0xE0) {
    return 1;
  }
  if (first >= 0xE0 && first < 0xF0) {
    return 2;
  }
  return first >= 0xF0 && first < 0xF5 ? 3 : -1;
}

bool isUtf8(const std::string& text) {
  int expected = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (expected > 0) {
      if ((byte & 0xC0U) != 0x80U) {
        return false;
      }
      --expected;
    } else {
      expected = followers(byte);
      if (expected < 0) {
        return false;
      }
    }
  }
  return expected == 0;
}

} // namespace

std::string jsonText(const std::string& name) {
  const bool as_latin1 = !isUtf8(name);
  std::string text = "\"";
  for (const char character : name) {
    const bool is_high = (static_cast<unsigned char>(character) & 0x80U) != 0;
    if (base::isControl(character) || (is_high && as_latin1)) {
      text += escaped(character);
    } else {
      text += character == '"' || character == '\\' ? std::string{'\\', character} : std::string(1, character);
    }
  }
  return text + "\"";
}

std::string unusableAsFileName(const std::string& name) {
  if (name.empty()) {
    return "is empty";
  }
  if (name == "." || name == "..") {
    return "is a folder's";
  }
  if (name.find_first_of("/\\:") != std::string::npos) {
    return "holds a path separator";
  }
  if (std::any_of(name.begin(), name.end(), base::isControl)) {
    return "holds a control character";
  }
  return isReservedFileName(name) ? "is none for a file on this system" : "";
}

} // namespace vorin::pack
