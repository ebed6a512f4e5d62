#include "../cancellation.h"

#include "../exit_status.h"
#include "../output_file.h"
#include "../terminal.h"

#include <windows.h>

namespace vorin::base {
namespace {

// Runs on a thread of its own.
BOOL WINAPI takeEvent(DWORD event) {
  takeCancellation();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    // The console is closing. The system kills the process when this returns, and after five seconds anyway; main may return
    // before.
    constexpr DWORD kRoomForTheWork_ms = 4000;
    Sleep(kRoomForTheWork_ms);
    cancelNow();
  }
  return TRUE;
}

} // namespace

void installCancellationHandlers() {
  SetConsoleCtrlHandler(takeEvent, TRUE);
}

// Terminates, as the clean-up of libraries would run while other threads are still at work in them.
void endCancelledProcess(std::string_view last_line) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), last_line.data(), static_cast<DWORD>(last_line.size()), &written, nullptr);
  restoreConsole();
  removeUnfinishedFile(); // last: another thread may still be writing the file
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::kCancelled));
}

} // namespace vorin::base
