#include "../terminal.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vorin::base {
namespace {

int descriptorOf(Stream stream) {
  return stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

// Called before the stream is shut, so that earlier text appears, and before it reopens, so that text in between is lost.
void flush(Stream stream) {
  if (stream == Stream::kOutput) {
    std::cout.flush();
  }
  static_cast<void>(std::fflush(stream == Stream::kOutput ? stdout : stderr));
}

int duplicateOf(int descriptor) {
  return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

} // namespace

std::vector<std::string> utf8Arguments(int count, const char* const* arguments) {
  return {arguments, arguments + count};
}

// Nothing to do: the streams of these systems carry bytes, and terminals show UTF-8.
void prepareStandardStreams() {}
void restoreConsole() {}

Quiet::Quiet(Stream stream) : stream_(stream), saved_(-1) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) {
    return;
  }
  flush(stream_);
  saved_ = duplicateOf(descriptorOf(stream_));
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

bool isTerminal(Stream stream) {
  return isatty(descriptorOf(stream)) != 0;
}

int terminalColumns() {
  constexpr int kUsual = 80;
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

OwnStandardError::OwnStandardError() : descriptor_(duplicateOf(STDERR_FILENO)) {}

OwnStandardError::~OwnStandardError() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

void OwnStandardError::write(std::string_view text) const {
  while (descriptor_ >= 0 && !text.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return;
    }
  }
}

} // namespace vorin::base
