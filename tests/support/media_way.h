// The whole way of a clip, for tests: read, handed to an effect, written.
#pragma once

#include "clip_reader.h"
#include "clip_writer.h"
#include "pipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace vorin::media {

inline void identity(const VideoFrame& frame, Picture& drawing) {
  ASSERT_EQ(frame.picture.layout, drawing.layout);
  ASSERT_EQ(frame.picture.size, drawing.size);
  drawing.bytes = frame.picture.bytes;
}

struct Outcome {
  PipelineResult result;
  std::vector<std::string> warnings;
};

inline Outcome restyle(const std::filesystem::path& clip, const std::filesystem::path& output,
                       const FrameEffect& effect = identity, const ClipWriterOptions& options = {}) {
  const std::atomic<bool> never = false;
  ClipReader reader(clip);
  ClipWriter writer(output, reader.info(), reader.info().size, options);
  Outcome outcome;
  outcome.result = runPipeline(reader, writer, effect, {never});
  outcome.warnings = writer.warnings();
  return outcome;
}

} // namespace vorin::media
