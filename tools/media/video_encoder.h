// video_encoder.h: pictures to packets of one of libavcodec's encoders. For the inside of this folder.
#pragma once

#include "clip_writer.h"
#include "picture_conversion.h"

#include <map>

namespace vorin::media {

class VideoEncoder {
public:
  VideoEncoder(const VideoInfo& source, Size size, const ClipWriterOptions& options, const AVOutputFormat& container);

  const AVCodecContext& context() const { return *codec_; }

  // Each is followed by receive() until there is none.
  void send(VideoFrame&& frame);
  void sendEnd();

  // In the encoder's time base. False: none yet, or no more.
  bool receive(AVPacket& packet);

private:
  void setPictures(const VideoInfo& source, Size size, AVPixelFormat format);

  CodecHandle codec_;
  std::optional<FrameFromPicture> to_frame_;
  std::map<std::int64_t, std::int64_t> durations_; // of the frames inside, by their time, which not every encoder hands through
};

} // namespace vorin::media
