#include "../software_device.h"

#include "../cancellation.h"
#include "../exit_status.h"
#include "../program_files.h"
#include "held_cancellation.h"
#include "module_path.h"
#include "software_folder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <windows.h>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kLibraryFolders = L"PATH";

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

std::wstring variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

// The copy of the program beside the libraries that do the precision.
fs::path softwareProgram(const Precision& precision) {
  const fs::path folder = programFolder() / kSoftwareFolder / precision.runtime;
  fs::path program = folder / modulePath(nullptr).filename();
  std::error_code error;
  if (!fs::exists(program, error) || !fs::exists(folder / "plugins.xml", error)) {
    throw Failure(ExitStatus::kDevice,
                  "the software device is not installed: put the folder 'softgpu' of the package or the build "
                  "beside the program, or use a GPU");
  }
  return program;
}

Failure noStart() {
  const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
  return {ExitStatus::kDevice,
          "the software device does not start (" + error.message() + "): check that the program may be executed"};
}

// The processes in it end when this process does, however that is.
Handle makeJob() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

DWORD run(const fs::path& program) {
  const Handle job = makeJob();
  std::wstring command_line = GetCommandLineW();
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  if (CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr, &startup,
                     &started) == FALSE) {
    throw noStart();
  }
  const Handle process(started.hProcess);
  const Handle thread(started.hThread);
  AssignProcessToJobObject(job.get(), process.get());
  cancelEvenIfHeld(); // the copy would not know of it
  ResumeThread(thread.get());
  WaitForSingleObject(process.get(), INFINITE);
  DWORD exit_status = 0;
  if (GetExitCodeProcess(process.get(), &exit_status) == FALSE) {
    throw noStart();
  }
  constexpr DWORD kEndedByControlC = 0xC000013A; // before the copy had begun to handle it
  if (exit_status == kEndedByControlC) {
    cancelEvenIfHeld();
  }
  return exit_status;
}

} // namespace

const Precision* activePrecision() {
  const auto all = precisions();
  const fs::path folder = modulePath(L"openvino.dll").parent_path();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Precision& precision) {
    return folder.filename() == precision.runtime && folder.parent_path().filename() == kSoftwareFolder;
  });
  return found == all.end() ? nullptr : &*found;
}

const char* filterAdvice() {
  return "on Windows it serves the neural styles, lightgrey, cartoon and transfer; a filter needs a GPU with its OpenCL driver";
}

void requireSoftwareDevice(const Precision& precision) {
  softwareProgram(precision);
}

void restartOnSoftwareDevice(const Precision& precision, const std::string& reason, char** /*arguments*/) {
  const fs::path program = softwareProgram(precision);
  const std::wstring others = variable(kLibraryFolders);
  const std::wstring folders = programFolder().wstring() + (others.empty() ? L"" : L";" + others);
  SetEnvironmentVariableW(kLibraryFolders, folders.c_str()); // the program's folder is the copy's own no more
  SetEnvironmentVariableA(kSoftwareDeviceVariable, "1");
  SetEnvironmentVariableA(kSoftwareReasonVariable, reason.c_str());
  holdCancellation(); // the copy gets every Ctrl-C too, and its exit status tells
  std::exit(static_cast<int>(run(program)));
}

} // namespace vorin::stylize
