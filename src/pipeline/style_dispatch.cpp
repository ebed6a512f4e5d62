// Chooses and sets up the engine of a style.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"

#include <optional>

namespace vorin {

_VorinStatus FramePipeline::initPlugins(const StyleSettings& settings) {
  sttLogInfo("Init plugins");
  if (const std::optional<std::size_t> row = neural::findCatalogueRow(settings.style_type, settings.style_index)) {
    return initNeural(settings, *row);
  }
  switch (settings.style_type) {
  case SttStyleStippling:
    initFilter(settings, stippling_engine_);
    return VORIN_STATUS_OK;
  case SttStylePencilSketch:
    initFilter(settings, pencil_sketch_engine_);
    return VORIN_STATUS_OK;
  default:
    sttLogInfo("unkonwn type");
    return VORIN_STATUS_UNKNOWN_TYPE;
  }
}

_VorinStatus FramePipeline::initNeural(const StyleSettings& settings, std::size_t catalogue_row) {
  current_network_ = &neural_engines_[catalogue_row];
  const _VorinStatus status = current_network_->load(settings.device_name, settings.style_type, settings.style_index,
                                                     settings.width, settings.height, settings.model_folder);
  if (status != VORIN_STATUS_OK) {
    sttLogInfo("Init model failed");
    return VORIN_STATUS_FAILED;
  }
  sttLogInfo("Init plugins, done");
  return VORIN_STATUS_OK;
}

void FramePipeline::initFilter(const StyleSettings& settings, gpufilters::GpuFilterEngine& engine) {
  current_filter_ = &engine;
  engine.Init(settings.device_kind, settings.style_type, settings.style_index, settings.width, settings.height);
  sttLogInfo("Init plugins, done");
}

} // namespace vorin
