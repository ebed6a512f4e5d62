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

constexpr mode_t kReadWriteForOwner = 0600;
constexpr mode_t kReadWriteForAll = 0666; // before the process's mask
constexpr mode_t kFolderForOwner = 0700;

std::string homeFolder() {
  const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): the library never writes the environment
  return home != nullptr ? home : "";
}

// Opens a new file and returns its descriptor, or a negative number. Never opens a file that somebody else put there.
int createAnew(const std::string& path, int access, mode_t mode) {
  static_cast<void>(::unlink(path.c_str()));
  return ::open(path.c_str(), access | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
}

// Null for a negative descriptor.
std::FILE* streamOf(int file, const char* mode) {
  std::FILE* const stream = file < 0 ? nullptr : ::fdopen(file, mode);
  if (file >= 0 && stream == nullptr) {
    ::close(file);
  }
  return stream;
}

} // namespace

const char kPathSeparator = '/';
const char* const kLastResortFolder = "/var/tmp/temp";

std::optional<std::string> localAppDataFolder() {
  const char* data_home = std::getenv("XDG_DATA_HOME"); // NOLINT(concurrency-mt-unsafe)
  std::string folder = data_home != nullptr ? data_home : "";
  if (folder.empty() || folder.front() != '/') { // the XDG base directory rules demand that a relative path is ignored
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

std::optional<std::string> executableFolder() {
  std::error_code error;
  const std::string path = std::filesystem::read_symlink("/proc/self/exe", error).string();
  return error ? std::nullopt : std::optional(path.substr(0, path.rfind('/')));
}

bool isFolder(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makeFolder(const std::string& path) {
  return ::mkdir(path.c_str(), 0777) == 0;
}

bool isOwnFolder(const std::string& path) {
  static_cast<void>(::mkdir(path.c_str(), kFolderForOwner)); // before the check: nobody else can make it in between
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & S_IWOTH) == 0;
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

bool canCreateAndDelete(const std::string& path) {
  const int file = createAnew(path, O_RDWR, kReadWriteForOwner);
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

std::string toUtf8(const std::string& narrow) {
  return narrow;
}

bool isWritable(const std::wstring& path) {
  return ::access(toNarrow(path).c_str(), W_OK) == 0;
}

std::FILE* createBinary(const std::string& path) {
  return streamOf(createAnew(path, O_WRONLY, kReadWriteForOwner), "wb");
}

std::FILE* openTextForWriting(const std::string& path) {
  // A pipe without a reader fails instead of blocking.
  const int access = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  return streamOf(::open(path.c_str(), access, kReadWriteForAll), "w");
}

std::FILE* openBinaryForReading(const std::wstring& path) {
  return std::fopen(toNarrow(path).c_str(), "rbe");
}

} // namespace vorin::platform
