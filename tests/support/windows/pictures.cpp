#include "support/pictures.h"

#include "image_file.h"
#include "support/package_bytes.h"
#include "utf8_path.h"

#include <exception>
#include <string>
#include <vector>
#include <windows.h>

namespace vorin::tests {

void savePicture(const std::string& file, const cv::Mat& bgr) {
  if (file.ends_with(".png")) {
    writeFile(file, pngBytes(bgr));
    return;
  }
  const std::vector<std::uint8_t> bytes = stylize::encodePicture(tools::pathFromUtf8(file), bgr);
  writeFile(file, std::string(bytes.begin(), bytes.end()));
}

cv::Mat loadPicture(const std::string& file) {
  try {
    return stylize::readPicture(tools::pathFromUtf8(file));
  } catch (const std::exception&) {
    return {};
  }
}

bool jpegQualityIsKept() {
  return GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") == nullptr;
}

} // namespace vorin::tests
