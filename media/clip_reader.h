// clip_reader.h: a clip as a source of frames: demultiplexed by libavformat, decoded by libavcodec.
//
// Only kinds of files that hold moving pictures are opened, and only the file itself is read: playlists that name other files or
// addresses are none. A clip that is cut short or damaged delivers what can be read, and says so by damage().
#pragma once

#include "frames.h"

#include <filesystem>

namespace vorin::media {

class ClipReader : public FrameSource {
public:
  explicit ClipReader(const std::filesystem::path& clip, PictureColours picture_colours = PictureColours::kLibrary);
  ~ClipReader() override;

  const VideoInfo& info() const override;
  std::optional<Item> next() override;
  std::vector<std::string> damage() const override;

private:
  class Decoder;
  std::unique_ptr<Decoder> decoder_;
};

} // namespace vorin::media
