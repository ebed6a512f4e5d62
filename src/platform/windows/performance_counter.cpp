// The performance counter of Windows.
#include "platform/platform.h"

#include <windows.h>

namespace vorin::platform {

std::int64_t performanceCounter() {
  LARGE_INTEGER ticks = {};
  ::QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

std::int64_t performanceFrequency() {
  LARGE_INTEGER ticks_per_second = {};
  ::QueryPerformanceFrequency(&ticks_per_second);
  return ticks_per_second.QuadPart;
}

} // namespace vorin::platform
