// Folders and files of POSIX systems.
#include "platform/platform.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vorin::platform {
namespace {

constexpr std::size_t kPathBytes = 260; // the same bound as on Windows, so that a path is accepted by both or by neither

std::string homeFolder() {
  const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): the library never writes the environment
  return home != nullptr ? home : "";
}

} // namespace

const char kPathSeparator = '/';

std::optional<std::string> localAppDataFolder() {
  const char* data_home = std::getenv("XDG_DATA_HOME"); // NOLINT(concurrency-mt-unsafe)
  std::string folder = data_home != nullptr ? data_home : "";
  if (folder.empty() || folder.front() != '/') { // the XDG base directory rules: a relative path is to be ignored
    const std::string home = homeFolder();
    if (home.empty()) {
      return std::nullopt;
    }
    folder = home + "/.local/share";
  }
  while (folder.size() > 1 && folder.back() == '/') {
    folder.pop_back();
  }
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!isFolder(folder)) {
    return std::nullopt;
  }
  return folder;
}

std::optional<std::string> executablePath() {
  char path[kPathBytes];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || static_cast<std::size_t>(length) >= sizeof path) {
    return std::nullopt;
  }
  return std::string(path, static_cast<std::size_t>(length));
}

bool isFolder(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makeFolder(const std::string& path) {
  return ::mkdir(path.c_str(), 0777) == 0;
}

} // namespace vorin::platform
