#include "../processes.h"

#include "../cancellation.h"
#include "../exit_status.h"
#include "../text.h"
#include "handles.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <filesystem>
#include <string>
#include <windows.h>

namespace vorin::base {
namespace {

DWORD_PTR processorMask() {
  DWORD_PTR own = 0;
  DWORD_PTR all = 0;
  return GetProcessAffinityMask(GetCurrentProcess(), &own, &all) != 0 && own != 0 ? own : 1;
}

DWORD_PTR maskOfShare(int share, int shares) {
  const DWORD_PTR all = processorMask();
  const int count = std::popcount(all);
  const int first = share * count / shares;
  const int last = std::max(first + 1, (share + 1) * count / shares);
  DWORD_PTR mask = 0;
  int place = 0;
  for (DWORD_PTR bit = 1; bit != 0; bit <<= 1) {
    if ((all & bit) != 0) {
      mask |= place >= first % count && place < first % count + last - first ? bit : 0;
      ++place;
    }
  }
  return mask;
}

// The argument as the program's start code splits a command line.
std::wstring quotedArgument(const std::string& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  const std::filesystem::path wide = pathFromUtf8(argument);
  for (const wchar_t c : wide.native()) {
    if (c == L'"') {
      quoted.append(backslashes + 1, L'\\');
    }
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    quoted.push_back(c);
  }
  return quoted.append(backslashes, L'\\') + L"\"";
}

} // namespace

std::string hostName() {
  std::array<char, MAX_COMPUTERNAME_LENGTH + 1> name{};
  DWORD length = name.size();
  std::string host = GetComputerNameA(name.data(), &length) != 0 && length > 0 ? std::string(name.data(), length) : "localhost";
  std::replace_if(
      host.begin(), host.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '.' && c != '-'; },
      '-');
  return host;
}

int processId() {
  return static_cast<int>(GetCurrentProcessId());
}

bool isRunning(int process_id) {
  const Handle process(OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(process_id)));
  if (!process) {
    return GetLastError() == ERROR_ACCESS_DENIED;
  }
  return WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

int processorCount() {
  return std::popcount(processorMask());
}

struct ChildProgram::State {
  Handle process;
};

ChildProgram::ChildProgram(const std::vector<std::string>& arguments, int share, int shares) : state_(std::make_unique<State>()) {
  std::array<wchar_t, 32768> program{};
  GetModuleFileNameW(nullptr, program.data(), program.size());
  std::wstring line = L"\"" + std::wstring(program.data()) + L"\"";
  for (const std::string& argument : arguments) {
    line += L" " + quotedArgument(argument);
  }
  PROCESS_INFORMATION made = {};
  if (!startSuspended(program.data(), line, made)) {
    throw Error(ErrorKind::kInputOutput,
                "another process cannot be started (error " + std::to_string(GetLastError()) + "): use fewer --workers");
  }
  state_->process.reset(made.hProcess);
  const Handle thread(made.hThread);
  if (shares > 1) {
    SetProcessAffinityMask(made.hProcess, maskOfShare(share, shares));
  }
  ResumeThread(thread.get());
}

ChildProgram::~ChildProgram() {
  if (!hasEnded()) {
    cancel();
    static_cast<void>(exitStatus());
  }
}

bool ChildProgram::hasEnded() {
  return WaitForSingleObject(state_->process.get(), 0) == WAIT_OBJECT_0;
}

int ChildProgram::exitStatus() {
  WaitForSingleObject(state_->process.get(), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(state_->process.get(), &status);
  return static_cast<int>(status);
}

// What cancels this process, an event of the console, reaches the copy too, which ends by itself, but for one that had just been
// started. Others are ended at once: units are safe against that.
void ChildProgram::cancel() {
  constexpr DWORD kOwnEnd_ms = 10000;
  if (!cancellationIsDue() || WaitForSingleObject(state_->process.get(), kOwnEnd_ms) == WAIT_TIMEOUT) {
    TerminateProcess(state_->process.get(), static_cast<UINT>(ExitStatus::kCancelled));
  }
}

} // namespace vorin::base
