// clip_streams.h: a clip's streams: its main video with a decoder, and those that are copied as they are from a source to a sink
// (sound, subtitles, cover pictures, fonts). Private to this folder.
#pragma once

#include "libav_support.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorin::media {

// A sink copies from it when it is made, before the source is read.
struct SourceStreams {
  InputHandle context;
  int video_index = -1;

  const AVStream& video() const { return *context->streams[video_index]; }
};

// A clip that is open, but not read yet.
struct OpenClip {
  std::shared_ptr<SourceStreams> streams;
  CodecHandle decoder;
  SourceInfo info; // with these streams
};

// Throws kInputOutput for a file that is not a clip or cannot be decoded.
OpenClip openClip(const std::filesystem::path& clip);

// Whether packets or attachments of this stream are copied.
bool isCopied(const SourceStreams& source, int index);

// Maps the source's streams to those of an output.
class CopiedStreams {
public:
  // Adds the streams that the output can hold. Throws kInputOutput for a sound that it cannot hold: a clip is not complete
  // without its sound. Anything else that it cannot hold gets a warning.
  CopiedStreams(const SourceStreams& source, AVFormatContext& output);

  // Copies chapters, title and the like.
  static void copyMetadata(const AVFormatContext& source, AVFormatContext& output);

  // Sets the packet's stream and times for the output. Returns false if its stream is not in the output.
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
