#include "../program_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr const char* kThisProgram = "/proc/self/exe";

// As the XDG base directory rules have it.
fs::path cacheFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  if (cache != nullptr && *cache == '/') {
    return cache;
  }
  const char* home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? fs::path(home) / ".cache" : fs::path();
}

// One folder for each folder of files: the name tells whose it is, and "%" stands for what a name cannot hold.
std::string nameOf(const fs::path& folder) {
  std::string name = folder.string();
  std::replace(name.begin(), name.end(), '/', '%');
  return name;
}

} // namespace

fs::path programFolder() {
  std::error_code error;
  return fs::read_symlink(kThisProgram, error).parent_path();
}

bool isWritable(const fs::path& folder) {
  return access(folder.c_str(), W_OK) == 0;
}

std::optional<fs::path> folderOfLinkTo(const fs::path& file) {
  std::error_code error;
  const fs::path target = fs::canonical(file, error);
  const fs::path cache = cacheFolder();
  if (error || cache.empty()) {
    return std::nullopt;
  }
  const fs::path folder = cache / "vorin-stt" / "linked" / nameOf(target.parent_path());
  fs::create_directories(folder, error);
  const fs::path link = folder / file.filename();
  if (fs::read_symlink(link, error) != target) {
    fs::remove(link, error);
    fs::create_symlink(target, link, error);
  }
  return fs::exists(link, error) && isWritable(folder) ? std::optional(folder) : std::nullopt;
}

std::optional<std::string> narrowText(const fs::path& path) {
  return path.string();
}

Turn::Turn() : program_(open(kThisProgram, O_RDONLY | O_CLOEXEC)) {
  while (program_ >= 0 && flock(program_, LOCK_EX) != 0 && errno == EINTR) {
  }
}

Turn::~Turn() {
  if (program_ >= 0) {
    close(program_);
  }
}

} // namespace vorin::stylize
