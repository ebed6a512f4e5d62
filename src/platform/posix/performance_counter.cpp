// The performance counter of POSIX systems: the monotonic clock in nanoseconds.
#include "platform/platform.h"

#include <ctime>

namespace vorin::platform {
namespace {
constexpr std::int64_t kTicksPerSecond = 1'000'000'000;
}

std::int64_t performanceCounter() {
  timespec time = {};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::int64_t>(time.tv_sec) * kTicksPerSecond + time.tv_nsec;
}

std::int64_t performanceFrequency() {
  return kTicksPerSecond;
}

} // namespace vorin::platform
