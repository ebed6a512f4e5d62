#include "software_device.h"

#include "exit_status.h"

#include <array>
#include <cstdlib>
#include <string>

namespace vorin::stylize {
namespace {

constexpr std::array kPrecisions = {Precision{"f32", "runtime"}, Precision{"bf16", "runtime-bf16"}};

} // namespace

std::span<const Precision> precisions() {
  return kPrecisions;
}

bool isSoftwareDeviceActive() {
  const char* active = std::getenv(kSoftwareDeviceVariable); // NOLINT(concurrency-mt-unsafe): one thread so far
  return active != nullptr && std::string_view(active) == "1";
}

std::string softwareDeviceReason() {
  const char* reason = std::getenv(kSoftwareReasonVariable); // NOLINT(concurrency-mt-unsafe): one thread so far
  return reason != nullptr ? reason : std::string("made active by ") + kSoftwareDeviceVariable + "=1";
}

void requireNoOtherActive(const Precision& precision) {
  const Precision* active = isSoftwareDeviceActive() ? activePrecision() : nullptr;
  if (active != nullptr && active->name != precision.name) {
    throw Failure(ExitStatus::kUsage, "--precision " + std::string(precision.name) +
                                          " comes too late: the software device is active already, with networks in " +
                                          std::string(active->name) + ": leave the option out, or start without the stand-ins");
  }
}

} // namespace vorin::stylize
