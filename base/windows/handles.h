// handles.h: the system's handles behind the C library's descriptors.
#pragma once

#include <io.h>
#include <windows.h>

namespace vorin::base {

// INVALID_HANDLE_VALUE for a descriptor that is not open.
inline HANDLE handleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); // NOLINT(performance-no-int-to-ptr): so the library has them
}

} // namespace vorin::base
