// pipeline.h: source to effect to sink, each on a thread of its own: the source reads ahead and the sink writes behind while the
// effect works on the caller's thread. A few frames wait on either side, however long the clip is.
#pragma once

#include "frames.h"

#include <atomic>
#include <functional>

namespace vorin::media {

// Draws one frame. drawing: of the sink's size, in layoutFor(the source's layout, that size); so of the frame's own layout where
// the sizes are equal. Its pixels are undefined before.
using FrameEffect = std::function<void(const VideoFrame& frame, Picture& drawing)>;

struct Progress {
  std::int64_t frames_done = 0;
  std::optional<std::int64_t> frames_expected;
  double elapsed_ms = 0;
};

struct PipelineOptions {
  const std::atomic<bool>& cancelled;                 // looked at between frames; a signal handler may set it
  std::function<void(const Progress&)> on_frame = {}; // after each frame, on the caller's thread
};

struct PipelineResult {
  std::int64_t frames = 0;         // that the output holds
  bool cancelled = false;          // the output then ends early and plays, or there is none of this run
  std::vector<std::string> damage; // of the source
};

// Throws what the source, the effect or the sink throws; the sink is then not finished.
PipelineResult runPipeline(FrameSource& source, FrameSink& sink, const FrameEffect& effect, const PipelineOptions& options);

} // namespace vorin::media
