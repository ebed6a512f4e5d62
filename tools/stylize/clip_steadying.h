// clip_steadying.h: the drawings of clips, steadied (tools/steady) in the layout of their frames.
#pragma once

#include "frames.h"
#include "steady_blend.h"
#include "styles.h"

namespace vorin::stylize {

class ClipSteadying {
public:
  explicit ClipSteadying(const Style& style);

  // Takes the frames in order, each with its drawing, which it changes in place. The first drawing and the one after a cut stay
  // as they are, and alpha always does. NV12 is steadied as one picture of luma and chroma, without a way through blue, green,
  // red.
  void apply(const media::Picture& source, media::Picture& drawing);

private:
  steady::SteadyBlend blend_;
  cv::Mat source_bgr_;
  cv::Mat drawn_; // of 3 channels: what blend_ takes
};

} // namespace vorin::stylize
