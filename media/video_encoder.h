// video_encoder.h: encodes pictures with one of libavcodec's encoders. Private to this folder.
//
// The encoder counts frames at the clip's average rate, and the packets get the frames' own times afterwards. So variable
// rates and fine time bases are kept exactly, whatever the encoder supports, and the rate in the encoded stream is right.
#pragma once

#include "picture_conversion.h"

#include <map>
#include <optional>

namespace vorin::media {

// The encoder of the options with its settings, not opened yet. Throws kUsage if there is none, or none that fits.
CodecHandle configuredEncoder(const SinkOptions& options, const AVOutputFormat& container);

class VideoEncoder {
public:
  VideoEncoder(const SourceInfo& source, Size size, const SinkOptions& options, const AVOutputFormat& container);

  const AVCodecContext& context() const { return *codec_; }

  // After each of these, call receive() until it returns false.
  void send(Frame&& frame);
  void sendEnd();

  // Whether the last packets follow soon after sendEnd. Encoders that look far ahead still have seconds of work to do then.
  bool endsQuickly() const;

  // Gets the next packet, with times in the source's time base. Returns false if none is ready yet or no more will follow.
  bool receive(AVPacket& packet);

private:
  struct Span {
    std::int64_t time;
    std::int64_t duration;
  };

  struct Lead { // how far decoding runs ahead of presentation
    std::int64_t frames;
    std::int64_t time;
  };

  void setPictures(const SourceInfo& source, Size size, AVPixelFormat format);
  std::int64_t timeOf(std::int64_t frame_number) const;
  void giveTimes(AVPacket& packet);

  CodecHandle codec_;
  std::optional<FrameFromPicture> to_frame_;
  std::map<std::int64_t, Span> spans_; // by frame number; an entry lives until no packet needs it
  std::optional<Lead> lead_;           // known from the first packet on
  std::int64_t frames_ = 0;
};

} // namespace vorin::media
