#include "../entry_name.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <windows.h>

namespace vorin::pack {
namespace {

bool isUtf8(const std::string& name) {
  return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name.data(), static_cast<int>(name.size()), nullptr, 0) != 0;
}

// Devices have their names in every folder, in small letters and large ones, whatever follows a dot.
bool isDevice(const std::string& name) {
  std::string stem = name.substr(0, name.find('.'));
  stem.erase(stem.find_last_not_of(' ') + 1);
  std::transform(stem.begin(), stem.end(), stem.begin(),
                 [](char letter) { return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter; });
  constexpr std::array<std::string_view, 6> kDevices = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  if (std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end()) {
    return true;
  }
  // COM1 and its like; the digit may also be a superscript.
  const bool is_port = stem.starts_with("COM") || stem.starts_with("LPT");
  const std::string_view number = is_port ? std::string_view(stem).substr(3) : std::string_view();
  return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') || number == "\xC2\xB9" || number == "\xC2\xB2" ||
         number == "\xC2\xB3";
}

} // namespace

bool isReservedFileName(const std::string& name) {
  const bool loses_its_end = name.back() == '.' || name.back() == ' ';
  return loses_its_end || name.find_first_of("<>\"|?*") != std::string::npos || isDevice(name) || !isUtf8(name);
}

} // namespace vorin::pack
