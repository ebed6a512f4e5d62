#include "../cancellation.h"

#include "../exit_status.h"
#include "../output_file.h"
#include "../terminal.h"

#include <windows.h>

namespace vorin::base {
namespace {

// The system calls this on a thread of its own.
BOOL WINAPI takeEvent(DWORD event) {
  takeCancellation();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    // The console is closing. The system kills the process when this function returns, or after five seconds; main may
    // return earlier.
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

// Terminates the process without clean-up, which would run while other threads are still inside libraries.
void endCancelledProcess(std::string_view last_line) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), last_line.data(), static_cast<DWORD>(last_line.size()), &written, nullptr);
  restoreConsole();
  removeUnfinishedFiles(); // last: another thread may still be writing the file
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::kCancelled));
}

} // namespace vorin::base
