// The boundary of the library's embedded copies: all that libvorin_stt_embedded exports. They forward and do nothing else.
#include "core/style_transfer.h"
#include "platform/platform.h"

extern "C" {

// Sets the folder, which must be writable, for unpacked networks and the cache of compiled ones. To be called before the first
// object is created.
VORIN_STT_API void vorin_embedded_set_folder(const char* folder) {
  vorin::platform::setFolderForFiles(folder);
}

// These do what SttFactory::Create and SttFactory::Destroy do, and may throw.
VORIN_STT_API _VorinStatus vorin_embedded_create(SttInterface** object) {
  return SttFactory::Create(object);
}

VORIN_STT_API _VorinStatus vorin_embedded_destroy(SttInterface* object) {
  return SttFactory::Destroy(object);
}

// Has the style transfer's next frame smoothed against none. object: from vorin_embedded_create.
VORIN_STT_API void vorin_embedded_forget_frames(SttInterface* object) {
  static_cast<vorin::StyleTransfer*>(object)->forgetFrames();
}

// The side of the filter's work-groups on its device, on which the dots of stippling depend; 0 before a filter is prepared.
VORIN_STT_API std::int32_t vorin_embedded_work_group_edge(const SttInterface* object) {
  return static_cast<const vorin::StyleTransfer*>(object)->workGroupEdge();
}

} // extern "C"
