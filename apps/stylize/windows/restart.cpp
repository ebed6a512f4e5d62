// Windows looks for libraries in the program's own folder first. So each set of the stand-ins' libraries, softgpu/runtime and
// softgpu/runtime-bf16, has a copy of the program beside it, which is started in place of this one.
#include "../restart.h"

#include "cancellation.h"
#include "files.h"

#include <memory>
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

fs::path softwareProgram(media::Precision precision) {
  const fs::path folder = base::programFolder() / "softgpu" / (precision == media::Precision::kF32 ? "runtime" : "runtime-bf16");
  fs::path program = folder / "vorin-stylize.exe";
  std::error_code error;
  if (!fs::exists(program, error) || !fs::exists(folder / "plugins.xml", error)) {
    throw Error(ErrorKind::kDevice, "the software device is not installed: put the folder 'softgpu' of the package or the build "
                                    "beside the program, or use a GPU");
  }
  return program;
}

Error noStart() {
  const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
  return {ErrorKind::kDevice,
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
  ResumeThread(thread.get());
  WaitForSingleObject(process.get(), INFINITE);
  DWORD exit_status = 0;
  if (GetExitCodeProcess(process.get(), &exit_status) == FALSE) {
    throw noStart();
  }
  constexpr DWORD kEndedByControlC = 0xC000013A; // before the copy had begun to handle it
  return exit_status == kEndedByControlC ? static_cast<DWORD>(base::ExitStatus::kCancelled) : exit_status;
}

} // namespace

base::ExitStatus runOnSoftwareDevice(media::Precision precision, const std::string& reason) {
  const fs::path program = softwareProgram(precision);
  const std::wstring others = variable(kLibraryFolders);
  const std::wstring folders = base::programFolder().wstring() + (others.empty() ? L"" : L";" + others);
  SetEnvironmentVariableW(kLibraryFolders, folders.c_str()); // the program's folder is no longer the copy's own
  SetEnvironmentVariableA("VORIN_SOFTGPU", "1");
  SetEnvironmentVariableA("VORIN_SOFTGPU_REASON", reason.c_str());
  base::throwIfCancelled();
  return static_cast<base::ExitStatus>(run(program)); // the copy gets every Ctrl-C too, and its exit status tells
}

} // namespace vorin::stylize
