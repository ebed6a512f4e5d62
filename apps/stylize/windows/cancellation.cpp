#include "../cancellation.h"

#include "../cancellation_state.h"
#include "../exit_status.h"
#include "console_code_page.h"
#include "held_cancellation.h"
#include "unfinished_file.h"

#include <windows.h>

namespace vorin::stylize {
namespace {

// The system ends the process when it returns from any but the first two.
BOOL WINAPI cancel(DWORD event) {
  takeCancellation();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    Sleep(INFINITE);
  }
  return TRUE;
}

} // namespace

// Without the ends of the libraries, which other threads are still at work in.
void cancelNow() {
  const std::string_view line = cancellationLine();
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  base::restoreConsoleCodePage();
  base::removeUnfinishedFile(); // last: another thread may still be at work on a file
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::kCancelled));
}

void handleCancellation() {
  SetConsoleCtrlHandler(cancel, TRUE);
}

void holdCancellation() {
  CancellationStage may_come = CancellationStage::kMayCome; // if not, the process is ending
  cancellation_state.stage.compare_exchange_strong(may_come, CancellationStage::kWaits);
}

void cancelEvenIfHeld() {
  if (cancellation_state.is_due) {
    cancelNow();
  }
}

} // namespace vorin::stylize
