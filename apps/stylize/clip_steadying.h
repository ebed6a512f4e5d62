// clip_steadying.h: the drawings of clips, steadied (media/effects) in the layout of their frames.
#pragma once

#include "frames.h"
#include "steady_blend.h"
#include "styles.h"

#include <future>

namespace vorin::stylize {

// As the style's drawings need it.
steady::SteadyBlend steadyBlendFor(SttStyleType style);

class ClipSteadying {
public:
  explicit ClipSteadying(const Style& style) : blend_(steadyBlendFor(style.type)) {}

  // For each frame, in order: see, then apply.
  //
  // Follows the motion on a thread of its own, meanwhile the frame is drawn. The source must stay until the future is ready,
  // which has what was thrown.
  std::future<void> see(const media::Picture& source, media::Size drawing_size);

  // Changes the frame's drawing, once the future is ready. The first drawing and the one after a cut stay as they are, and alpha
  // always does.
  void apply(media::Picture& drawing);

private:
  steady::SteadyBlend blend_;
  cv::Mat source_bgr_;
  cv::Mat drawn_bgr_;
};

} // namespace vorin::stylize
