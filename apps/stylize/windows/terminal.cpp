#include "../terminal.h"

#include <cstdio>
#include <io.h>
#include <windows.h>

namespace vorin::stylize {

bool isTerminal(Stream stream) {
  DWORD mode = 0; // only a console has one: NUL is a character device too
  return GetConsoleMode(GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE), &mode) != FALSE;
}

int terminalColumns() {
  constexpr int kUsual = 80;
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  const bool is_known = GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != FALSE;
  return is_known ? info.srWindow.Right - info.srWindow.Left + 1 : kUsual;
}

OwnStandardError::OwnStandardError() : descriptor_(_fileno(stderr) < 0 ? -1 : _dup(_fileno(stderr))) {}

OwnStandardError::~OwnStandardError() {
  if (descriptor_ >= 0) {
    _close(descriptor_);
  }
}

void OwnStandardError::write(std::string_view text) const {
  if (descriptor_ >= 0) {
    static_cast<void>(_write(descriptor_, text.data(), static_cast<unsigned>(text.size())));
  }
}

} // namespace vorin::stylize
