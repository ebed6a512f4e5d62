// The module's table of functions.
#include "clip_module.h"

extern "C" const vorin::media::ClipModule* vorin_media_clips() {
  using namespace vorin::media;
  static constexpr ClipModule kModule = {
      &clips::checkOptions, &clips::openClipSource, &clips::openClipSink, &clips::openPipeSource,  &clips::openPipeSink,
      &clips::surveyClip,   &clips::openClipPart,   &clips::openUnitSink, &clips::openClipPackets, &clips::joinClip,
      &clips::makeSteady,   &clips::decodeImage,    &clips::encodeBmp};
  return &kModule;
}
