#include "core/style_transfer.h"

#include "core/log.h"

#include <openvino/runtime/core.hpp>

namespace vorin {
StyleTransfer::StyleTransfer() {
  openLog();
  sttLogInfo("Create StyleTransfer object");
  configuration_.set(SttCfgModelPath, platform::executableFolder().value_or(std::string()).c_str());
  // A new object works as if the host had requested any GPU.
  selected_device_.kind = SttDeviceAnyGpu;
  platform::copyBounded(selected_device_.deviceName, sizeof selected_device_.deviceName, device_name_.c_str());
  const ov::Core runtime;
  devices_.addFrom(runtime, runtime.get_available_devices());
  adapters_ = scanAdapters(platform::listDisplayAdapters());
}

StyleTransfer::~StyleTransfer() {
  closeLog();
  sttLogInfo("Destroy StyleTransfer object");
}

_VorinStatus StyleTransfer::GetVersion(SttVersion* version) {
  version->major = 0;
  version->minor = 5;
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::EnumDevice(SttDeviceInfo* list, int32_t* count) {
  *count = devices_.enumerate(list);
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::CreateDevice(const SttDeviceRequest* request, SttDeviceRecord** device) {
  selected_device_.kind = request->kind;
  selected_device_.reserved = request->reserved;
  platform::copyBounded(selected_device_.fullName, sizeof selected_device_.fullName, request->name);
  device_name_ = devices_.requestDevice(request->kind);
  platform::copyBounded(selected_device_.deviceName, sizeof selected_device_.deviceName, device_name_.c_str());
  *device = &selected_device_;
  return device_name_.starts_with("notfind") ? VORIN_STATUS_FAILED : VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::CreateContext(SttDeviceRecord* /*device*/, VorinSttContext* context) {
  *context = this;
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::SetConfig(VorinSttContext /*context*/, uint32_t key, const void* value) {
  return configuration_.set(key, value);
}

_VorinStatus StyleTransfer::GetConfig(VorinSttContext /*context*/, uint32_t key, int32_t* value) {
  return configuration_.get(key, value);
}

StyleSettings StyleTransfer::settings() const {
  return {.style_type = configuration_.number(SttCfgStyleType),
          .style_index = configuration_.number(SttCfgStyleIndex),
          .width = configuration_.number(SttCfgWidth),
          .height = configuration_.number(SttCfgHeight),
          .model_folder = configuration_.modelFolder(),
          .device_name = device_name_,
          .device_kind = selected_device_.kind};
}

_VorinStatus StyleTransfer::Prepare(VorinSttContext /*context*/) {
  sttLogVerbose("enter StyleTransfer::Prepare");
  if (pipeline_.initPlugins(settings()) != VORIN_STATUS_OK) {
    sttLogError("init error");
    return VORIN_STATUS_FAILED;
  }
  sttLogVerbose("exit StyleTransfer::Prepare");
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::ProcessFrame(VorinSttContext /*context*/, const SttFrame* input, const SttFrame* styleImage,
                                         SttFrame* output) {
  return pipeline_.processFrame(settings(), *input, styleImage, *output);
}

_VorinStatus StyleTransfer::SyncOperation(VorinSttContext /*context*/) {
  sttLogVerbose("enter StyleTransfer::SyncOperation");
  sttLogVerbose("exit StyleTransfer::SyncOperation");
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::Stop(VorinSttContext /*context*/) {
  sttLogVerbose("enter StyleTransfer::Stop");
  sttLogVerbose("exit StyleTransfer::Stop");
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::DestroyContext(VorinSttContext /*context*/) {
  return VORIN_STATUS_OK;
}

_VorinStatus StyleTransfer::DestroyDevice(SttDeviceRecord* /*device*/) {
  return VORIN_STATUS_OK;
}

} // namespace vorin
