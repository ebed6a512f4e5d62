#include "../cancellation.h"

#include "../failure.h"

#include <atomic>
#include <windows.h>

namespace vorin::pack {
namespace {

std::atomic<bool> cancelled = false;

// Runs on a thread of its own. The system ends the process when it returns from any but the first two.
BOOL WINAPI noteCancellation(DWORD event) {
  cancelled = true;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    Sleep(INFINITE); // until the work has cleaned up and main returns
  }
  return TRUE;
}

} // namespace

void handleCancellation() {
  SetConsoleCtrlHandler(noteCancellation, TRUE);
}

void throwIfCancelled() {
  if (cancelled) {
    throw Failure("cancelled", ExitStatus::kCancelled);
  }
}

} // namespace vorin::pack
