#include "../cancellation.h"

#include "../cancellation_state.h"
#include "../exit_status.h"
#include "unfinished_file.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace vorin::stylize {
namespace {

int standard_error = STDERR_FILENO; // a copy of its own: the program silences its standard error for short whiles

constexpr std::array kCancellingSignals = {SIGINT, SIGTERM, SIGHUP};

// A library's thread may run it, so blocking the signals in one thread would not make cancellation wait.
extern "C" void cancel(int) {
  takeCancellation();
}

sigset_t cancellingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kCancellingSignals) {
    sigaddset(&signals, signal);
  }
  return signals;
}

} // namespace

// Calls only what POSIX allows in a signal handler.
void cancelNow() {
  const std::string_view line = cancellationLine();
  [[maybe_unused]] const auto written = write(standard_error, line.data(), line.size());
  base::removeUnfinishedFile(); // last: another thread may still be at work on a file
  _exit(static_cast<int>(ExitStatus::kCancelled));
}

void handleCancellation() {
  standard_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  struct sigaction action {};
  action.sa_handler = cancel;
  action.sa_mask = cancellingSignals();
  for (const int signal : kCancellingSignals) {
    struct sigaction previous {};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
  // A file that outgrows a limit of the shell then ends as a write error, not as a killed process that leaves its file behind.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  const sigset_t signals = cancellingSignals();
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void holdCancellation() {
  const sigset_t signals = cancellingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace vorin::stylize
