#include "../quiet_output.h"

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace vorin::stylize {
namespace {

int descriptorOf(Stream stream) {
  return stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

// What was said before goes out, and what was said meanwhile does not come out later.
void flush(Stream stream) {
  if (stream == Stream::kOutput) {
    std::cout.flush();
  }
  static_cast<void>(std::fflush(stream == Stream::kOutput ? stdout : stderr));
}

} // namespace

Quiet::Quiet(Stream stream) : stream_(stream), saved_(-1) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) {
    return;
  }
  flush(stream_);
  saved_ = fcntl(descriptorOf(stream_), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (saved_ >= 0) {
    dup2(nowhere, descriptorOf(stream_));
  }
  close(nowhere);
}

Quiet::~Quiet() {
  if (saved_ >= 0) {
    flush(stream_);
    dup2(saved_, descriptorOf(stream_));
    close(saved_);
  }
}

} // namespace vorin::stylize
