#include "quoted_name.h"

#include "utf8_path.h"

#include <string_view>

namespace vorin::base {

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

std::string quoted(const std::string& name) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "'";
  for (const char character : name) {
    if (isControl(character)) {
      const auto byte = static_cast<unsigned char>(character);
      text += {'\\', 'x', kDigits[byte / 16U], kDigits[byte % 16U]};
    } else {
      text += character;
    }
  }
  return text + "'";
}

std::string quotedPath(const std::filesystem::path& file) {
  return quoted(utf8Text(file));
}

} // namespace vorin::base
