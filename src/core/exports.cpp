// The boundary of the library: the 14 C functions and the factory. They forward and do nothing else.
#include "core/style_transfer.h"
#include "vorin_stt.h"

#include <cstdlib>
#include <new>

// The object that a handle points to.
struct VorinSttCell {
  SttInterface* object;
};

namespace {
constexpr std::size_t kCellBytes = 8;
static_assert(sizeof(VorinSttCell) == kCellBytes);
} // namespace

extern "C" {

_VorinStatus vorin_SttCreate(VorinSttHandle* handle) {
  void* memory = std::malloc(kCellBytes);
  if (memory == nullptr) {
    return VORIN_STATUS_FAILED;
  }
  SttInterface* object = nullptr;
  try {
    object = new vorin::StyleTransfer;
  } catch (...) {
    std::free(memory);
    throw;
  }
  *handle = new (memory) VorinSttCell{object};
  return VORIN_STATUS_OK;
}

_VorinStatus vorin_SttDestroy(VorinSttHandle handle) {
  // Deliberate: destroying through the C functions does not run the destructor, and frees the storage with the cell's size.
  // Everything that the object owns stays until the process ends.
  ::operator delete(static_cast<void*>(handle->object), kCellBytes);
  std::free(handle);
  return VORIN_STATUS_OK;
}

_VorinStatus vorin_SttGetVersion(VorinSttHandle handle, SttVersion* version) {
  return handle->object->GetVersion(version);
}

_VorinStatus vorin_SttEnumDevice(VorinSttHandle handle, SttDeviceInfo* list, int32_t* count) {
  return handle->object->EnumDevice(list, count);
}

_VorinStatus vorin_SttCreateDevice(VorinSttHandle handle, const SttDeviceRequest* request, SttDeviceRecord** device) {
  return handle->object->CreateDevice(request, device);
}

_VorinStatus vorin_SttCreateContext(VorinSttHandle handle, SttDeviceRecord* device, VorinSttContext* context) {
  return handle->object->CreateContext(device, context);
}

_VorinStatus vorin_SttSetConfig(VorinSttHandle handle, VorinSttContext context, uint32_t key, const void* value) {
  return handle->object->SetConfig(context, key, value);
}

_VorinStatus vorin_SttGetConfig(VorinSttHandle handle, VorinSttContext context, uint32_t key, int32_t* value) {
  return handle->object->GetConfig(context, key, value);
}

_VorinStatus vorin_SttPrepare(VorinSttHandle handle, VorinSttContext context) {
  return handle->object->Prepare(context);
}

_VorinStatus vorin_SttProcessFrame(VorinSttHandle handle, VorinSttContext context, const SttFrame* input,
                                   const SttFrame* styleImage, SttFrame* output) {
  return handle->object->ProcessFrame(context, input, styleImage, output);
}

_VorinStatus vorin_SttSyncOperation(VorinSttHandle handle, VorinSttContext context) {
  return handle->object->SyncOperation(context);
}

_VorinStatus vorin_SttStop(VorinSttHandle handle, VorinSttContext context) {
  return handle->object->Stop(context);
}

_VorinStatus vorin_SttDestroyContext(VorinSttHandle handle, VorinSttContext context) {
  return handle->object->DestroyContext(context);
}

_VorinStatus vorin_SttDestroyDevice(VorinSttHandle handle, SttDeviceRecord* device) {
  return handle->object->DestroyDevice(device);
}

} // extern "C"

_VorinStatus SttFactory::Create(SttInterface** object) {
  *object = new vorin::StyleTransfer;
  return VORIN_STATUS_OK;
}

_VorinStatus SttFactory::Destroy(SttInterface* object) {
  // Deletes the concrete class: the interface has no virtual destructor.
  delete static_cast<vorin::StyleTransfer*>(object);
  return VORIN_STATUS_OK;
}
