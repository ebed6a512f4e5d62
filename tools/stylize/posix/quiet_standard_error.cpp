#include "../quiet_standard_error.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace vorin::stylize {

QuietStandardError::QuietStandardError() : saved_(-1) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) {
    return;
  }
  static_cast<void>(std::fflush(stderr));
  saved_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (saved_ >= 0) {
    dup2(nowhere, STDERR_FILENO);
  }
  close(nowhere);
}

QuietStandardError::~QuietStandardError() {
  if (saved_ >= 0) {
    static_cast<void>(std::fflush(stderr));
    dup2(saved_, STDERR_FILENO);
    close(saved_);
  }
}

} // namespace vorin::stylize
