// The only copy is linked into the program. Narrow text is the system's, which the library expects.
#include "../library_copy.h"

#include "files.h"
#include "vorin_error.hpp"
#include "windows/handles.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>
#include <windows.h>

extern "C" {
void vorin_embedded_set_folder(const char* folder);
_VorinStatus vorin_embedded_create(SttInterface** object);
_VorinStatus vorin_embedded_destroy(SttInterface* object);
void vorin_embedded_forget_frames(SttInterface* object);
std::int32_t vorin_embedded_work_group_edge(const SttInterface* object);
const vorin::media::ClipModule* vorin_media_clips();
}

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

Error noFolder(const std::string& reason) {
  return {ErrorKind::kInputOutput,
          "no folder for unpacked networks: " + reason + ": set LOCALAPPDATA to a folder that you may write to"};
}

// The name must have all its characters in the system's code page.
std::string narrowFolder() {
  const char* data = std::getenv("LOCALAPPDATA");
  if (data == nullptr || *data == '\0') {
    throw noFolder("LOCALAPPDATA names no folder");
  }
  std::string folder = std::string(data) + "\\vorin-stt";
  CreateDirectoryA(folder.c_str(), nullptr); // fails if it exists
  const DWORD attributes = GetFileAttributesA(folder.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    throw noFolder("'" + folder + "' cannot be made");
  }
  const std::string probe = folder + "\\probe.tmp";
  const base::Handle file =
      base::fileHandle(CreateFileA(probe.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (!file) {
    throw noFolder("'" + folder + "' cannot be written to");
  }
  return folder;
}

// The folder of the stand-ins' libraries, in the folder softgpu.
const char* runtimeName(std::string_view precision) {
  return precision == "f32" ? "runtime" : "runtime-bf16";
}

// ---- the software device: each set of the stand-ins' libraries, softgpu/runtime and softgpu/runtime-bf16, has a copy of the
// program beside it, which is started in place of this one, since Windows looks for libraries in the program's own folder first
// ----

constexpr const wchar_t* kLibraryFolders = L"PATH";

using base::Handle;

std::wstring variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

fs::path softwareProgram(Precision precision) {
  const fs::path folder = base::programFolder() / "softgpu" / (precision == Precision::kF32 ? "runtime" : "runtime-bf16");
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

// The processes in it end when this process does, for whatever reason.
Handle makeJob() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

DWORD run(const fs::path& program) {
  const Handle job = makeJob();
  PROCESS_INFORMATION started = {};
  if (!base::startSuspended(program.c_str(), GetCommandLineW(), started)) {
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
  constexpr DWORD kCancelled = 130;
  constexpr DWORD kEndedByControlC = 0xC000013A; // before the copy had begun to handle it
  return exit_status == kEndedByControlC ? kCancelled : exit_status;
}

} // namespace

std::filesystem::path writableFolder() {
  const std::string narrow = narrowFolder();
  std::wstring wide(narrow.size(), L'\0');
  const int length = static_cast<int>(narrow.size());
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, wide.data(), length)));
  return wide;
}

LibraryCopy& LibraryCopy::get(bool software, std::optional<std::string_view> wanted) {
  const std::string_view precision = wanted.value_or("f32");
  if (software && precision != "f32" && precision != "bf16") {
    throw Error(ErrorKind::kUsage, "unknown precision '" + std::string(precision) + "': f32 or bf16");
  }
  if (software && softwareNeedsOwnProcess()) {
    throw Error(ErrorKind::kDevice, "this process is not a software device: start it by vorin-stylize, or use a GPU");
  }
  static LibraryCopy& copy = [&]() -> LibraryCopy& {
    const Functions functions = {vorin_embedded_set_folder, vorin_embedded_create, vorin_embedded_destroy,
                                 vorin_embedded_forget_frames, vorin_embedded_work_group_edge};
    functions.set_folder(narrowFolder().c_str());
    return *new LibraryCopy(functions, precision); // never deleted: objects may outlive every scope
  }();
  return copy;
}

LibraryCopy::Object LibraryCopy::create() const {
  SttInterface* object = nullptr;
  functions_.create(&object);
  return {object, {functions_.destroy}};
}

const ClipModule& clipModule() {
  return *vorin_media_clips();
}

void giveKernelsAFolder() {}

void noteGoodEnd() {}

bool mayHaveGpu() {
  return true;
}

bool standInsAreActive() {
  const char* active = std::getenv("VORIN_SOFTGPU");
  return active != nullptr && std::string_view(active) == "1";
}

bool standInsComputeIn(std::string_view precision) {
  std::wstring file(MAX_PATH, L'\0');
  file.resize(GetModuleFileNameW(GetModuleHandleW(L"openvino.dll"), file.data(), MAX_PATH));
  return std::filesystem::path(file).parent_path().filename() != runtimeName(precision == "f32" ? "bf16" : "f32");
}

bool softwareDeviceIsInstalled(std::string_view precision) {
  std::error_code error;
  return std::filesystem::exists(base::programFolder() / "softgpu" / runtimeName(precision) / "plugins.xml", error);
}

bool softwareNeedsOwnProcess() {
  return !standInsAreActive();
}

const char* filterAdvice() {
  return "on Windows it serves the neural styles, lightgrey, cartoon and transfer; a filter needs a GPU with its OpenCL driver";
}

int runAsSoftwareDevice(Precision precision, const std::string& reason) {
  const fs::path program = softwareProgram(precision);
  const std::wstring others = variable(kLibraryFolders);
  const std::wstring folders = base::programFolder().wstring() + (others.empty() ? L"" : L";" + others);
  SetEnvironmentVariableW(kLibraryFolders, folders.c_str()); // the program's folder is no longer the copy's own
  SetEnvironmentVariableA("VORIN_SOFTGPU", "1");
  SetEnvironmentVariableA("VORIN_SOFTGPU_REASON", reason.c_str());
  return static_cast<int>(run(program)); // the copy gets every Ctrl-C too, and its exit status reports it
}

} // namespace vorin::media
