// Puts all files of an embedded copy of the library into the one folder that the copy's loader names, on every system. Without
// temporary folders, the library never waits until one of them is writable.
#include "platform/platform.h"

namespace vorin::platform {
namespace {

std::string folder_for_files;

} // namespace

void setFolderForFiles(const std::string& folder) {
  folder_for_files = folder;
}

std::optional<std::string> programFolderForFiles() {
  return folder_for_files.empty() ? std::nullopt : std::optional(folder_for_files);
}

std::optional<std::string> appDataFolderForFiles() {
  return std::nullopt;
}

std::optional<std::string> temporaryFolder() {
  return std::nullopt;
}

} // namespace vorin::platform
