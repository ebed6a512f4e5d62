// software_device.h: the way to a GPU on a machine that has none.
//
// Beside the program lies the folder softgpu/ with stand-ins for the hardware: an OpenCL layer and a set of the inference
// runtime's libraries. Both are found through environment variables that are read when a process starts. So the program sets them
// and starts itself again with the same arguments; it knows by VORIN_SOFTGPU=1 that this has happened.
//
// Windows looks for libraries in the program's own folder first, so there each set of libraries has a copy of the program beside
// it, which is started in its place; and it has no OpenCL layers, so the filters need an OpenCL device of the wanted vendor.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vorin::stylize {

constexpr const char* kSoftwareDeviceVariable = "VORIN_SOFTGPU";
constexpr const char* kSoftwareReasonVariable = "VORIN_SOFTGPU_REASON";

// What the software device's networks compute in.
struct Precision {
  std::string_view name;
  std::string_view runtime; // the folder of the libraries that do
};
std::span<const Precision> precisions(); // the default first

bool isSoftwareDeviceActive();

// Why the active one draws: as the program that started this one told, or that somebody else has made it active.
std::string softwareDeviceReason();

// That of the stand-ins' libraries which this process uses; null where it uses none of them.
const Precision* activePrecision();

// What to tell where the active device does not draw with a filter.
const char* filterAdvice();

// A Failure where the software device is active with another precision, which stays as it is while the process lives.
void requireNoOtherActive(const Precision& precision);

void requireSoftwareDevice(const Precision& precision); // a Failure where the stand-ins are missing

// Becomes the restarted program, or waits for it and ends with its exit status. Comes back only as a Failure, as above or where
// the start fails. Everything that a destructor would have to clean up must be gone by now.
[[noreturn]] void restartOnSoftwareDevice(const Precision& precision, const std::string& reason, char** arguments);

} // namespace vorin::stylize
