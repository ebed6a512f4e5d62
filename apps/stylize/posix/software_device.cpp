#include "../software_device.h"

#include "../cancellation.h"
#include "../exit_status.h"
#include "../program_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <unistd.h>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLibraryFolders = "LD_LIBRARY_PATH";
constexpr const char* kFolder = "softgpu";
constexpr const char* kThisProgram = "/proc/self/exe";

void putFirst(const char* variable, const fs::path& path) {
  const char* previous = std::getenv(variable);
  const bool is_set = previous != nullptr && *previous != '\0';
  setenv(variable, (path.string() + (is_set ? ":" + std::string(previous) : std::string())).c_str(), 1);
}

struct StandIns {
  fs::path opencl_layer;
  fs::path runtime;
};

// Beside the program as in a build folder, or beside the runtime as in an installed copy.
StandIns standIns(const Precision& precision) {
  const fs::path program = programFolder();
  for (const fs::path& folder : {program / kFolder, program.parent_path() / "lib/vorin-stt" / kFolder}) {
    const StandIns found = {folder / "libvorin_softgpu_opencl.so", folder / precision.runtime};
    std::error_code error;
    if (fs::exists(found.opencl_layer, error) && fs::is_directory(found.runtime, error)) {
      return found;
    }
  }
  throw Failure(ExitStatus::kDevice,
                "the software device is not installed: put the folder 'softgpu' of the build beside the program, or use a GPU");
}

} // namespace

const Precision* activePrecision() {
  const auto all = precisions();
  const char* folders = std::getenv(kLibraryFolders);
  std::istringstream list(folders == nullptr ? "" : folders);
  for (std::string folder; std::getline(list, folder, ':');) {
    const fs::path path(folder);
    const auto found = std::find_if(all.begin(), all.end(), [&](const Precision& precision) {
      return path.filename() == precision.runtime && path.parent_path().filename() == kFolder;
    });
    if (found != all.end()) {
      return &*found;
    }
  }
  return nullptr;
}

const char* filterAdvice() {
  return "check that PoCL (pocl-opencl-icd) is installed, and that $HOME, or the folder in POCL_CACHE_DIR, is writable";
}

void requireSoftwareDevice(const Precision& precision) {
  standIns(precision);
}

void restartOnSoftwareDevice(const Precision& precision, const std::string& reason, char** arguments) {
  const StandIns found = standIns(precision);
  putFirst("OPENCL_LAYERS", found.opencl_layer);
  putFirst(kLibraryFolders, found.runtime);
  setenv(kSoftwareDeviceVariable, "1", 1);
  setenv(kSoftwareReasonVariable, reason.c_str(), 1);
  holdCancellation(); // the new process image handles it, once it is up
  execv(kThisProgram, arguments);
  throw Failure(ExitStatus::kDevice, "the software device does not start (" + std::generic_category().message(errno) +
                                         "): check that the program may be executed");
}

} // namespace vorin::stylize
