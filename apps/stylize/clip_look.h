// clip_look.h: the look of photos (look.h) on the frames of clips.
#pragma once

#include "frames.h"
#include "look.h"

namespace vorin::stylize {

// In the layout of the frames: NV12 is blended plane by plane, without a way through blue, green, red.
void applyLook(const Look& look, const media::Picture& source, media::Picture& drawing);

} // namespace vorin::stylize
