// The public header as the only include of a C++17 file, and the binary interface of its classes.
#include "vorin_stt.h"

static_assert(sizeof(SttInterface) == sizeof(void*));
static_assert(sizeof(SttFactory) == 1);
static_assert(sizeof(_VorinStatus) == 4 && sizeof(SttFrame) == 32 && sizeof(SttDeviceInfo) == 168);
static_assert(_VorinStatus(-4) == VORIN_STATUS_FAILED);
