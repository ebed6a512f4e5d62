// Folders and files of POSIX systems.
#include "platform/platform.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vorin::platform {
namespace {

constexpr std::size_t kPathBytes = 260; // the same bound as on Windows, so that a path is accepted by both or by neither
constexpr mode_t kReadWriteForOwner = 0600;

std::string homeFolder() {
  const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): the library never writes the environment
  return home != nullptr ? home : "";
}

} // namespace

const char kPathSeparator = '/';
const char* const kLastResortFolder = "/var/tmp/temp";

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

std::optional<std::string> executableFolder() {
  const std::optional<std::string> path = executablePath();
  return path ? std::optional(path->substr(0, path->rfind('/'))) : std::nullopt;
}

bool isFolder(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makeFolder(const std::string& path) {
  return ::mkdir(path.c_str(), 0777) == 0;
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

std::optional<std::string> temporaryFolder() {
  const char* variable = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe)
  std::string folder = variable != nullptr && *variable != '\0' ? variable : "/tmp";
  if (folder.back() != '/') {
    folder += '/';
  }
  return folder.size() < kPathBytes ? std::optional(folder) : std::nullopt;
}

bool canCreateAndDelete(const std::string& path) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    static_cast<void>(::unlink(path.c_str())); // what it leads to is nobody's probe
  }
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kReadWriteForOwner);
  if (file < 0) {
    return false;
  }
  ::close(file);
  return ::unlink(path.c_str()) == 0;
}

std::wstring toWide(const std::string& narrow) {
  try {
    const std::u32string code_points = std::filesystem::path(narrow).u32string(); // UTF-8 whatever the locale, unlike wstring()
    return {code_points.begin(), code_points.end()};
  } catch (const std::system_error&) { // not UTF-8
    return {};
  }
}

std::string toNarrow(const std::wstring& wide) {
  try {
    return std::filesystem::path(std::u32string(wide.begin(), wide.end())).string();
  } catch (const std::system_error&) { // not a sequence of code points
    return {};
  }
}

bool isWritable(const std::wstring& path) {
  return ::access(toNarrow(path).c_str(), W_OK) == 0;
}

std::FILE* createBinary(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return std::fopen(path.c_str(), "wb"); // a device, also by a link
  }
  static_cast<void>(::unlink(path.c_str()));
  return std::fopen(path.c_str(), "wbx"); // never the file of a program that came in between
}

std::FILE* openBinaryForReading(const std::wstring& path) {
  return std::fopen(toNarrow(path).c_str(), "rb");
}

} // namespace vorin::platform
