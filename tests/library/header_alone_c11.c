/* The public header as the only include of a C11 file, and the layouts that hosts of every language rely on. */
#include "vorin_stt.h"

#include <stddef.h>

_Static_assert(sizeof(_VorinStatus) == 4, "a status is 32 bits");
_Static_assert(sizeof(SttVersion) == 8, "two numbers");
_Static_assert(sizeof(SttDeviceInfo) == 168, "as hosts allocate it");
_Static_assert(sizeof(SttDeviceRequest) == 136, "the front of an SttDeviceInfo");
_Static_assert(offsetof(SttDeviceInfo, name) == offsetof(SttDeviceRequest, name), "the front of an SttDeviceInfo");
_Static_assert(sizeof(SttDeviceRecord) == 272, "four words and two texts");
_Static_assert(sizeof(SttFrame) == 32, "natural alignment");
_Static_assert(offsetof(SttFrame, data) == 8 && offsetof(SttFrame, pixelFormat) == 16 && offsetof(SttFrame, pitch) == 28,
               "natural alignment");

/* Calls nothing; it only has to compile. */
_VorinStatus headerCompilesAsC(VorinSttHandle* handle);
_VorinStatus headerCompilesAsC(VorinSttHandle* handle) {
  return vorin_SttCreate(handle);
}
