// A guard for hosts that cannot catch the exceptions of ProcessFrame, such as programs built by MSVC, whose exceptions are of
// another kind: a DLL with one C function, built by MinGW like the library, which catches in the host's place. It holds as little
// state as the library, so one object serves one thread at a time here too.
#include "vorin_stt.h"

#include <cstddef>
#include <cstdio>
#include <exception>

// ProcessFrame that does not throw. what: where an exception came, its text, cut to fit what_bytes; else an empty text. Returns
// ProcessFrame's status, or VORIN_STATUS_FAILED for an exception, after which the object may be used as before. A host of the
// class door passes the address of its SttInterface pointer as the handle.
extern "C" __declspec(dllexport) _VorinStatus
    guardedProcessFrame(VorinSttHandle handle, VorinSttContext context, const SttFrame* input, const SttFrame* styleImage,
                        SttFrame* output, char* what, std::size_t what_bytes) {
  std::snprintf(what, what_bytes, "%s", "");
  try {
    return vorin_SttProcessFrame(handle, context, input, styleImage, output);
  } catch (const std::exception& error) {
    std::snprintf(what, what_bytes, "%s", error.what());
  } catch (...) {
    std::snprintf(what, what_bytes, "%s", "unknown");
  }
  return VORIN_STATUS_FAILED;
}
