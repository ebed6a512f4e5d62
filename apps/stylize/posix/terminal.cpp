#include "../terminal.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vorin::stylize {

bool isTerminal(Stream stream) {
  return isatty(stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

int terminalColumns() {
  constexpr int kUsual = 80;
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

OwnStandardError::OwnStandardError() : descriptor_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {}

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

} // namespace vorin::stylize
