// The log's sinks on Windows: the debugger, and a text file of the C runtime. The bounds-checked functions of the runtime hand a
// text that does not fit to its invalid-parameter handler, which the host may have set; the code here handles its return.
#include "platform/platform.h"

#include <cstring>
#include <windows.h>

namespace vorin::platform {

void writeDebuggerOutput(const char* line) {
  ::OutputDebugStringA(line);
}

std::FILE* openTextForWriting(const std::string& path) {
  std::FILE* file = nullptr;
  // The runtime opens files for exclusive use: a file that another object still holds cannot be opened again.
  return ::fopen_s(&file, path.c_str(), "wt") == 0 ? file : nullptr;
}

bool formatBounded(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
  const int length = ::vsprintf_s(buffer, size, format, arguments);
  // If only the NUL does not fit, some runtimes return the length and write no NUL.
  return length >= 0 && static_cast<std::size_t>(length) < size;
}

void copyBounded(char* buffer, std::size_t size, const char* text) {
  static_cast<void>(::strcpy_s(buffer, size, text)); // leaves an empty text if it does not fit
}

} // namespace vorin::platform
