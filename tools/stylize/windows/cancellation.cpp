#include "../cancellation.h"

#include "../exit_status.h"
#include "console_code_page.h"
#include "held_cancellation.h"

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <windows.h>

namespace vorin::stylize {
namespace {

std::wstring file_to_remove; // changed only while file_to_remove_is_set is false
std::atomic<bool> file_to_remove_is_set = false;
std::atomic<bool> cancellation_waits = false;
std::atomic<bool> line_waits_for_its_end = false;
std::atomic<bool> cancellation_is_due = false; // an event has come

// The file may be open: it goes when the process does.
extern "C" void removeFile() {
  if (file_to_remove_is_set) {
    DeleteFileW(file_to_remove.c_str());
  }
}

// Without the ends of the libraries, which other threads are still at work in.
void cancelNow() {
  removeFile();
  constexpr std::string_view kLine = "\nvorin-stylize: cancelled\n";
  const std::string_view line = kLine.substr(line_waits_for_its_end ? 0 : 1);
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  tools::restoreConsoleCodePage();
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::kCancelled));
}

// Whoever of the event's thread and the end of the waiting comes second sees what the first has set; exactly one of them cancels.
void cancelIfDue() {
  if (!cancellation_waits && cancellation_is_due.exchange(false)) {
    cancelNow();
  }
}

// The system ends the process when it returns from any but the first two.
BOOL WINAPI cancel(DWORD event) {
  cancellation_is_due = true;
  cancelIfDue();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    Sleep(INFINITE);
  }
  return TRUE;
}

} // namespace

void handleCancellation() {
  SetConsoleCtrlHandler(cancel, TRUE);
  // The OpenCL compiler ends the process by itself when it is out of space.
  static_cast<void>(std::atexit(removeFile));
}

void holdCancellation() {
  cancellation_waits = true;
}

void cancelEvenIfHeld() {
  if (cancellation_is_due) {
    cancelNow();
  }
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
  file_to_remove = file.wstring();
  file_to_remove_is_set = true;
}

RemovedWhenCancelled::~RemovedWhenCancelled() {
  file_to_remove_is_set = false;
}

} // namespace vorin::stylize
