// clip_opening.h: a clip before anything of it is read: the file opened, its main video chosen, a decoder for that, and what is
// known of the pictures to come. For the inside of this folder.
#pragma once

#include "clip_streams.h"

#include <filesystem>
#include <memory>

namespace vorin::media {

struct OpenClip {
  std::shared_ptr<SourceStreams> streams;
  CodecHandle decoder;
  VideoInfo info; // with these streams
};

// Throws a MediaError for what is no clip, or none that can be decoded.
OpenClip openClip(const std::filesystem::path& clip);

} // namespace vorin::media
