// StyleTransfer: the one implementation of SttInterface. An object holds the whole state of one host: the device table, the
// selected device, the configuration, and the frame pipeline with its engines and images. The handles that the host gets for a
// context and a device point into the object. It keeps no record of the calling order and checks none.
#pragma once

#include "core/configuration.h"
#include "core/devices.h"
#include "pipeline/frame_pipeline.h"
#include "vorin_stt.h"

#include <string>

namespace vorin {

class StyleTransfer final : public SttInterface {
public:
  // Opens the log, notes the program's folder as the model folder, and lists devices and adapters. Throws only the inference
  // runtime's exceptions and std::bad_alloc.
  StyleTransfer();

  // Closes the log file first, so that its own line reaches the debugger output only.
  ~StyleTransfer();

  StyleTransfer(const StyleTransfer&) = delete;
  StyleTransfer& operator=(const StyleTransfer&) = delete;

  _VorinStatus GetVersion(SttVersion* version) override;
  _VorinStatus EnumDevice(SttDeviceInfo* list, int32_t* count) override;
  _VorinStatus CreateDevice(const SttDeviceRequest* request, SttDeviceRecord** device) override;
  _VorinStatus CreateContext(SttDeviceRecord* device, VorinSttContext* context) override;
  _VorinStatus SetConfig(VorinSttContext context, uint32_t key, const void* value) override;
  _VorinStatus GetConfig(VorinSttContext context, uint32_t key, int32_t* value) override;
  _VorinStatus Prepare(VorinSttContext context) override;
  _VorinStatus ProcessFrame(VorinSttContext context, const SttFrame* input, const SttFrame* styleImage,
                            SttFrame* output) override;
  _VorinStatus SyncOperation(VorinSttContext context) override;
  _VorinStatus Stop(VorinSttContext context) override;
  _VorinStatus DestroyContext(VorinSttContext context) override;
  _VorinStatus DestroyDevice(SttDeviceRecord* device) override;

  // Has the style transfer's next frame smoothed against none.
  void forgetFrames() noexcept { pipeline_.forgetFrames(); }

  // The side of the work-groups of the filter prepared last, in pixels; 0 if none was.
  std::int32_t workGroupEdge() const noexcept { return pipeline_.workGroupEdge(); }

private:
  StyleSettings settings() const;

  // In this order: the destructor releases the pipeline's images and engines first, the texts after them.
  DeviceTable devices_;
  AdapterIds adapters_;
  SttDeviceRecord selected_device_ = {};
  std::string device_name_ = "GPU"; // the device that the engines are set up for
  Configuration configuration_;
  FramePipeline pipeline_;
};

} // namespace vorin
