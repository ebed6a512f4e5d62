#include "../terminal.h"

#include "vorin_error.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>
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

// Returns false once the flag is set.
bool waitFor(int descriptor, short event, const std::atomic<bool>& cancelled) {
  constexpr int kLook_ms = 20;
  while (!cancelled) {
    pollfd end = {descriptor, event, 0};
    if (poll(&end, 1, kLook_ms) > 0) { // also when the other end is closed: read or write reports it
      return true;
    }
  }
  return false;
}

bool isTransient() {
  return errno == EINTR || errno == EAGAIN;
}

std::string errnoText() {
  return std::generic_category().message(errno);
}

} // namespace

std::vector<std::string> utf8Arguments(int count, const char* const* arguments) {
  return {arguments, arguments + count};
}

// Nothing to do: the streams of these systems carry bytes, and terminals show UTF-8.
void prepareStandardStreams() {}
void restoreConsole() {}

void waitForInput(int descriptor, const std::atomic<bool>& cancelled) {
  waitFor(descriptor, POLLIN, cancelled);
}

std::size_t readInput(int descriptor, std::span<std::uint8_t> bytes, const std::atomic<bool>& cancelled) {
  while (waitFor(descriptor, POLLIN, cancelled)) {
    const ssize_t portion = read(descriptor, bytes.data(), bytes.size());
    if (portion >= 0) {
      return static_cast<std::size_t>(portion);
    }
    if (!isTransient()) {
      throw Error(ErrorKind::kInputOutput, "standard input cannot be read (" + errnoText() + "): check what is connected to it");
    }
  }
  return 0;
}

bool writeOutput(int descriptor, std::span<const std::uint8_t> bytes, const std::atomic<bool>& cancelled) {
  constexpr std::size_t kPortion_bytes = 4096; // a pipe that is ready takes at least this much without blocking
  while (!bytes.empty() && waitFor(descriptor, POLLOUT, cancelled)) {
    const ssize_t portion = write(descriptor, bytes.data(), std::min(bytes.size(), kPortion_bytes));
    if (portion < 0 && !isTransient()) {
      throw Error(ErrorKind::kInputOutput, "standard output cannot be written (" + errnoText() +
                                               "): the program that reads it ended, or the disk is full");
    }
    bytes = bytes.subspan(portion > 0 ? static_cast<std::size_t>(portion) : 0);
  }
  return bytes.empty();
}

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
