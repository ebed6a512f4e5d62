#include "../program_files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace vorin::stylize {
namespace {

constexpr const char* kThisProgram = "/proc/self/exe";

} // namespace

std::filesystem::path programFolder() {
  std::error_code error;
  return std::filesystem::read_symlink(kThisProgram, error).parent_path();
}

bool isWritable(const std::filesystem::path& folder) {
  return access(folder.c_str(), W_OK) == 0;
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
