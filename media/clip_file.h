// clip_file.h: the file of a clip that is written: libavformat multiplexes it into MP4, MOV, Matroska or WebM. Private to this
// folder.
//
// Kept from the source: time stamps (Matroska rounds them to milliseconds), pixel aspect, rotation (not in Matroska, which
// warns), colour tags, the packets of sound and subtitles, cover pictures, chapters, titles.
#pragma once

#include "clip_streams.h"
#include "output_file.h"

namespace vorin::media {

class ClipFile {
public:
  // video: the encoder of the pictures. header: what a decoder needs before the first packet, if not that encoder's own.
  ClipFile(std::unique_ptr<base::TemporaryOutput> file, const std::filesystem::path& output, const SourceInfo& source,
           const AVCodecContext& video, const SinkOptions& options, std::optional<std::span<const std::uint8_t>> header = {});

  void writeVideo(AVPacket& packet); // with times in the source's time base
  void write(Packet&& packet);       // of the source's other streams
  void close();                      // gives the file its name

  std::vector<std::string> warnings() const { return warnings_; } // complete from the begin on
  std::vector<std::string> damage() const;                        // complete after close

private:
  void addVideo(const SourceInfo& source, const AVCodecContext& video);
  void replaceHeader(std::span<const std::uint8_t> header);
  void open();
  void writeEncoded(SoundEncoder& sound);
  bool hand(AVPacket* packet); // null: all that wait. Returns whether none was left out
  void check(int status) const;

  std::filesystem::path output_;
  std::unique_ptr<base::TemporaryOutput> file_;
  OutputHandle context_;
  std::optional<CopiedStreams> copied_;
  AVRational time_base_{}; // of the frames
  PacketHandle packet_ = newPacket();
  std::vector<std::string> warnings_;
  std::int64_t left_out_ = 0; // damaged packets
};

// The format that libavformat has for the output's name. Throws kUsage if that is no clip's, or if the format cannot hold what is
// asked for.
const AVOutputFormat& formatFor(const std::filesystem::path& output, const SinkOptions& options);

} // namespace vorin::media
