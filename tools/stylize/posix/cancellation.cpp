#include "../cancellation.h"

#include "../exit_status.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unistd.h>

namespace vorin::stylize {
namespace {

constexpr std::array kCancellingSignals = {SIGINT, SIGTERM, SIGHUP};

std::string file_to_remove; // changed only while file_to_remove_is_set is false
std::atomic<bool> file_to_remove_is_set = false;
std::atomic<bool> cancellation_waits = false;
std::atomic<bool> line_waits_for_its_end = false;
std::atomic<bool> cancellation_is_due = false; // a signal has come
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

// This and the next three call only what POSIX allows in a signal handler.
extern "C" void removeFile() {
  if (file_to_remove_is_set) {
    unlink(file_to_remove.c_str());
  }
}

void cancelNow() {
  removeFile();
  constexpr std::string_view kLine = "\nvorin-stylize: cancelled\n";
  const std::string_view line = kLine.substr(line_waits_for_its_end ? 0 : 1);
  [[maybe_unused]] const auto written = write(STDERR_FILENO, line.data(), line.size());
  _exit(static_cast<int>(ExitStatus::kCancelled));
}

// A library's thread may run it, so blocking the signals in one thread would not make them wait. Whoever of this handler and the
// end of the waiting comes second sees what the first has set; exactly one of them cancels.
void cancelIfDue() {
  if (!cancellation_waits && cancellation_is_due.exchange(false)) {
    cancelNow();
  }
}

extern "C" void cancel(int) {
  cancellation_is_due = true;
  cancelIfDue();
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

void handleCancellation() {
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
  // The OpenCL compiler ends the process by itself when it is out of space.
  static_cast<void>(std::atexit(removeFile));
  // A file that outgrows a limit of the shell then ends as a write error, not as a killed process that leaves its file behind.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  const sigset_t signals = cancellingSignals();
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void holdCancellation() {
  const sigset_t signals = cancellingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

CancellationWaits::CancellationWaits() {
  cancellation_waits = true;
}

CancellationWaits::~CancellationWaits() {
  cancellation_waits = false;
  cancelIfDue();
}

const std::atomic<bool>& cancellationIsDue() {
  return cancellation_is_due;
}

void cancellationEndsALine(bool waits) {
  line_waits_for_its_end = waits;
}

RemovedWhenCancelled::RemovedWhenCancelled(const std::filesystem::path& file) {
  file_to_remove = file.string();
  file_to_remove_is_set = true;
}

RemovedWhenCancelled::~RemovedWhenCancelled() {
  file_to_remove_is_set = false;
}

} // namespace vorin::stylize
