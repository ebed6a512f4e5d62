// clip_streams.h: the streams of a clip that are handed on as they are: sound, subtitles, cover pictures, fonts. For the inside
// of this folder.
#pragma once

#include "libav_support.h"

#include <optional>
#include <string>
#include <vector>

namespace vorin::media {

// A writer copies from it in its constructor, before anybody reads on.
struct SourceStreams {
  InputHandle context;
  int video_index = -1;

  const AVStream& video() const { return *context->streams[video_index]; }
};

// Whether packets or attachments of this stream are handed on.
bool isHandedOn(const SourceStreams& source, int index);

// Where the packets of the source's streams go in an output.
class CopiedStreams {
public:
  // Adds the streams that the output can hold. A sound that it cannot hold is a MediaError, since a clip without its sound is not
  // what anybody wants; anything else gets a warning.
  CopiedStreams(const SourceStreams& source, AVFormatContext& output);

  // Chapters, title and the like.
  static void copyMetadata(const AVFormatContext& source, AVFormatContext& output);

  // Gives the packet its place in the output. False: its stream is not in the output.
  bool place(AVPacket& packet, const AVFormatContext& output);

  const std::vector<std::string>& warnings() const { return warnings_; }

private:
  struct Target {
    int index;
    AVRational source_time_base;
    std::int64_t lateness; // to be added, in the source's time base
    std::int64_t last_decode_time;
  };

  void add(const AVStream& stream, AVFormatContext& output);

  std::vector<std::optional<Target>> targets_; // by the source's index
  std::vector<std::string> warnings_;
};

} // namespace vorin::media
