#include "../software_device.h"

#include "../cancellation.h"
#include "../exit_status.h"
#include "../program_files.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr const char* kActive = "VORIN_SOFTGPU";
constexpr const char* kThisProgram = "/proc/self/exe";
constexpr std::array kPrecisions = {Precision{"f32", "runtime"}, Precision{"bf16", "runtime-bf16"}};

void putFirst(const char* variable, const fs::path& path) {
  const char* previous = std::getenv(variable);
  const bool is_set = previous != nullptr && *previous != '\0';
  setenv(variable, (path.string() + (is_set ? ":" + std::string(previous) : std::string())).c_str(), 1);
}

struct StandIns {
  fs::path opencl_layer;
  fs::path runtime;
};

StandIns standIns(const Precision& precision) {
  const fs::path folder = programFolder() / "softgpu";
  StandIns found = {folder / "libvorin_softgpu_opencl.so", folder / precision.runtime};
  std::error_code error;
  if (!fs::exists(found.opencl_layer, error) || !fs::is_directory(found.runtime, error)) {
    throw Failure(ExitStatus::kDevice,
                  "the software device is not installed: put the folder 'softgpu' of the build beside the program, or use a GPU");
  }
  return found;
}

} // namespace

std::span<const Precision> precisions() {
  return kPrecisions;
}

bool isSoftwareDeviceActive() {
  const char* active = std::getenv(kActive);
  return active != nullptr && std::string_view(active) == "1";
}

void requireSoftwareDevice(const Precision& precision) {
  standIns(precision);
}

void restartOnSoftwareDevice(const Precision& precision, char** arguments) {
  const StandIns found = standIns(precision);
  putFirst("OPENCL_LAYERS", found.opencl_layer);
  putFirst("LD_LIBRARY_PATH", found.runtime);
  setenv(kActive, "1", 1);
  holdCancellation(); // the new process image handles it, once it is up
  execv(kThisProgram, arguments);
  throw Failure(ExitStatus::kDevice, "the software device does not start (" + std::generic_category().message(errno) +
                                         "): check that the program may be executed");
}

} // namespace vorin::stylize
