// handles.h: the system's handles: those that close themselves, those behind the C library's descriptors, and those that this
// process shares with others of the program.
#pragma once

#include <io.h>
#include <memory>
#include <string>
#include <windows.h>

namespace vorin::base {

// Closes itself.
struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// Empty for INVALID_HANDLE_VALUE, which stands for no file.
inline Handle fileHandle(HANDLE file) {
  return Handle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

// INVALID_HANDLE_VALUE for a descriptor that is not open.
inline HANDLE handleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); // NOLINT(performance-no-int-to-ptr): so the library has them
}

// Starts a suspended process with this one's standard streams and console. If this one has no console, neither has the new one:
// its window would open. Returns false and sets the last error if it cannot.
inline bool startSuspended(const wchar_t* program, std::wstring command_line, PROCESS_INFORMATION& started) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  DWORD flags = CREATE_SUSPENDED;
  if (GetConsoleCP() == 0) {
    flags |= DETACHED_PROCESS;
    startup.dwFlags = STARTF_USESTDHANDLES; // else such a process gets none
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  }
  return CreateProcessW(program, command_line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup, &started) !=
         FALSE;
}

} // namespace vorin::base
