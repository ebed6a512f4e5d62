#include "../cancellation.h"

#include "../failure.h"

#include <array>
#include <csignal>

namespace vorin::pack {
namespace {

constexpr std::array kCancellingSignals = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t cancelled = 0;

extern "C" void noteCancellation(int) {
  cancelled = 1;
}

} // namespace

void handleCancellation() {
  struct sigaction action {};
  action.sa_handler = noteCancellation;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
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

void throwIfCancelled() {
  if (cancelled != 0) {
    throw Failure("cancelled", ExitStatus::kCancelled);
  }
}

} // namespace vorin::pack
