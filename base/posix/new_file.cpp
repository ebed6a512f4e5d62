#include "../new_file.h"

#include <fcntl.h>
#include <unistd.h>

namespace vorin::base {

std::FILE* makeNewFile(const std::filesystem::path& file) {
  constexpr mode_t kReadableAndWritable = 0666; // less the umask
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadableAndWritable);
  if (descriptor < 0) {
    return nullptr;
  }
  std::FILE* stream = fdopen(descriptor, "wb");
  if (stream == nullptr) {
    close(descriptor);
  }
  return stream;
}

void removeFile(const char* file) {
  unlink(file);
}

} // namespace vorin::base
