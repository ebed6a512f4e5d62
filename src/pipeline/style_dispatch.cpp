// Choosing and setting up the engine of a style.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"

namespace vorin {

_VorinStatus FramePipeline::initPlugins(const StyleSettings& settings) {
  sttLogInfo("Init plugins");
  switch (settings.style_type) {
  case SttStyleTransfer:
  case SttStyleLightGrey:
  case SttStyleCartoon:
    sttLogInfo("Init model failed");
    return VORIN_STATUS_FAILED;
  case SttStyleStippling:
    current_filter_ = &stippling_engine_;
    break;
  case SttStylePencilSketch:
    current_filter_ = &pencil_sketch_engine_;
    break;
  default:
    sttLogInfo("unkonwn type");
    return VORIN_STATUS_UNKNOWN_TYPE;
  }
  current_filter_->Init(settings.device_kind, settings.style_type, settings.style_index, settings.width, settings.height);
  sttLogInfo("Init plugins, done");
  return VORIN_STATUS_OK;
}

} // namespace vorin
