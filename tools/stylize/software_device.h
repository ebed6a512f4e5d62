// software_device.h: the way to a GPU on a machine that has none.
//
// Beside the program lies the folder softgpu/ with stand-ins for the hardware: an OpenCL layer and a set of the inference
// runtime's libraries. Both are found through environment variables that are read when a process starts. So the program sets them
// and starts itself again with the same arguments; it knows by VORIN_SOFTGPU=1 that this has happened.
#pragma once

#include <span>
#include <string_view>

namespace vorin::stylize {

// What the software device's networks compute in.
struct Precision {
  std::string_view name;
  std::string_view runtime; // the folder of the libraries that do
};
std::span<const Precision> precisions(); // the default first

bool isSoftwareDeviceActive();

// A Failure where the software device is active with another precision, which stays as it is while the process lives.
void requireNoOtherActive(const Precision& precision);

void requireSoftwareDevice(const Precision& precision); // a Failure where the stand-ins are missing

// Becomes the restarted program. Comes back only as a Failure, as above or where the start fails.
// Everything that a destructor would have to clean up must be gone by now.
[[noreturn]] void restartOnSoftwareDevice(const Precision& precision, char** arguments);

} // namespace vorin::stylize
