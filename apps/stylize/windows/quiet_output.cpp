#include "../quiet_output.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <windows.h>

namespace vorin::stylize {
namespace {

std::FILE* fileOf(Stream stream) {
  return stream == Stream::kOutput ? stdout : stderr;
}

// What was said before goes out, and what was said meanwhile does not come out later.
void flush(Stream stream) {
  if (stream == Stream::kOutput) {
    std::cout.flush();
  }
  static_cast<void>(std::fflush(fileOf(stream)));
}

} // namespace

Quiet::Quiet(Stream stream) : stream_(stream), saved_(-1) {
  const int descriptor = _fileno(fileOf(stream_)); // below 0: the program has no such stream
  const int nowhere = descriptor < 0 ? -1 : _open("NUL", _O_WRONLY | _O_BINARY | _O_NOINHERIT);
  if (nowhere < 0) {
    return;
  }
  flush(stream_);
  saved_ = _dup(descriptor);
  if (saved_ >= 0) {
    // A library with a C runtime of its own writes to the handle that it has found at its start. Were the handle closed, another
    // file could come to have its number.
    HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); // NOLINT(performance-no-int-to-ptr)
    SetHandleInformation(handle, HANDLE_FLAG_PROTECT_FROM_CLOSE, HANDLE_FLAG_PROTECT_FROM_CLOSE);
    _dup2(nowhere, descriptor);
  }
  _close(nowhere);
}

Quiet::~Quiet() {
  if (saved_ >= 0) {
    flush(stream_);
    _dup2(saved_, _fileno(fileOf(stream_)));
    _close(saved_);
  }
}

} // namespace vorin::stylize
