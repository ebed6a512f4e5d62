#include "../program_files.h"

#include <system_error>
#include <unistd.h>

namespace vorin::stylize {

std::filesystem::path programFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

bool isWritable(const std::filesystem::path& folder) {
  return access(folder.c_str(), W_OK) == 0;
}

} // namespace vorin::stylize
