// video_encoder.h: pictures to packets of one of libavcodec's encoders. For the inside of this folder.
//
// The encoder counts frames at the clip's average rate, and the packets get the frames' own times afterwards. So variable rates
// and fine time bases are kept exactly whatever the encoder can do, and what the encoded stream says of its rate is true.
#pragma once

#include "picture_conversion.h"

#include <map>
#include <optional>

namespace vorin::media {

// The encoder of the options with its settings, not opened yet. Throws kUsage where there is none, or none that fits.
CodecHandle configuredEncoder(const SinkOptions& options, const AVOutputFormat& container);

class VideoEncoder {
public:
  VideoEncoder(const SourceInfo& source, Size size, const SinkOptions& options, const AVOutputFormat& container);

  const AVCodecContext& context() const { return *codec_; }

  // Each is followed by receive() until there is none.
  void send(Frame&& frame);
  void sendEnd();

  // Whether the packets follow soon after the end. Some encoders look far ahead and then still have seconds of work to do.
  bool endsQuickly() const;

  // In the source's time base. False: none yet, or no more.
  bool receive(AVPacket& packet);

private:
  struct Span {
    std::int64_t time;
    std::int64_t duration;
  };

  struct Lead { // of decoding before showing
    std::int64_t frames;
    std::int64_t time;
  };

  void setPictures(const SourceInfo& source, Size size, AVPixelFormat format);
  std::int64_t timeOf(std::int64_t frame_number) const;
  void giveTimes(AVPacket& packet);

  CodecHandle codec_;
  std::optional<FrameFromPicture> to_frame_;
  std::map<std::int64_t, Span> spans_; // by the number of the frame, as long as packets need them
  std::optional<Lead> lead_;           // since the first packet
  std::int64_t frames_ = 0;
};

} // namespace vorin::media
