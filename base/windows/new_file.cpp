#include "../new_file.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <system_error>
#include <windows.h>

namespace vorin::base {

// Unlike the C library's, the file may be removed while it is open: cancellation does.
std::FILE* makeNewFile(const std::filesystem::path& file) {
  HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = std::error_code(static_cast<int>(GetLastError()), std::system_category()).default_error_condition().value();
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_WRONLY | _O_BINARY);
  if (descriptor < 0) {
    CloseHandle(handle);
    return nullptr;
  }
  std::FILE* stream = _fdopen(descriptor, "wb");
  if (stream == nullptr) {
    _close(descriptor);
  }
  return stream;
}

void removeFile(const wchar_t* file) {
  DeleteFileW(file);
}

} // namespace vorin::base
