// Chooses the folders of the library's own files on Windows.
#include "platform/platform.h"

#include <windows.h>

namespace vorin::platform {

std::optional<std::string> programFolderForFiles() {
  return executableFolder();
}

std::optional<std::string> appDataFolderForFiles() {
  return localAppDataFolder();
}

std::optional<std::string> temporaryFolder() {
  char folder[MAX_PATH] = {};
  const DWORD length = ::GetTempPathA(MAX_PATH, folder);
  return length != 0 && length < MAX_PATH ? std::optional<std::string>(folder) : std::nullopt;
}

} // namespace vorin::platform
