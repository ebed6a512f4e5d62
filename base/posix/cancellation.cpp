#include "../cancellation.h"

#include "../exit_status.h"
#include "../output_file.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace vorin::base {
namespace {

int standard_error = STDERR_FILENO; // a duplicate, since a Quiet may have shut the program's own

constexpr std::array kCancellingSignals = {SIGINT, SIGTERM, SIGHUP};

extern "C" void takeSignal(int /*signal*/) {
  takeCancellation();
}

} // namespace

void installCancellationHandlers() {
  standard_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  struct sigaction action {};
  action.sa_handler = takeSignal;
  action.sa_flags = SA_RESTART; // else the first signal would fail a write to a pipe
  sigemptyset(&action.sa_mask);
  for (const int signal : kCancellingSignals) {
    sigaddset(&action.sa_mask, signal);
  }
  for (const int signal : kCancellingSignals) {
    struct sigaction previous {};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
  // A file that outgrows a limit of the shell then ends as a write error, not as a killed process that leaves its file behind.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

// Calls only functions that POSIX allows in a signal handler.
void endCancelledProcess(std::string_view last_line) {
  [[maybe_unused]] const auto written = write(standard_error, last_line.data(), last_line.size());
  removeUnfinishedFiles(); // last: another thread may still be writing the file
  _exit(static_cast<int>(ExitStatus::kCancelled));
}

} // namespace vorin::base
