// Chooses the folders of the library's own files on POSIX systems.
#include "platform/platform.h"

#include <cstdlib>

namespace vorin::platform {

std::optional<std::string> programFolderForFiles() {
  return executableFolder();
}

std::optional<std::string> appDataFolderForFiles() {
  return localAppDataFolder();
}

std::optional<std::string> temporaryFolder() {
  const char* variable = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): the library never writes the environment
  std::string folder = variable != nullptr && *variable != '\0' ? variable : "/tmp";
  if (folder.back() != '/') {
    folder += '/';
  }
  return folder;
}

} // namespace vorin::platform
