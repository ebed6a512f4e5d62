// pipe_video.h: raw and Y4M pipes as sources and sinks of frames: no temporary files, nothing buffered beyond the frame at hand.
//
// Raw NV12 and YUY2 are video-range BT.601, as the library has them: there is nothing that could say otherwise. Y4M counts as
// what players take it for.
#pragma once

#include "pipe_format.h"

namespace vorin::media {

class PipeReader : public FrameSource {
public:
  // descriptor: stays the caller's. Without a format the pipe carries Y4M, and its header is read here.
  PipeReader(int descriptor, const std::optional<RawFormat>& format, PictureColours picture_colours = PictureColours::kLibrary);
  ~PipeReader() override;

  const VideoInfo& info() const override;
  std::optional<Item> next() override;
  std::vector<std::string> damage() const override;
  void interrupt() noexcept override;

private:
  class Stream;
  std::unique_ptr<Stream> stream_;
};

class PipeWriter : public FrameSink {
public:
  // pixels: of a raw stream; without them the pipe carries Y4M, in the source's colours. Sound goes nowhere.
  PipeWriter(int descriptor, const VideoInfo& source, Size size, std::optional<RawPixels> pixels);
  ~PipeWriter() override;

  Size size() const override;
  void write(VideoFrame&& frame) override;
  void write(StreamPacket&& packet) override;
  void finish() override;
  std::int64_t finishEarly() override;
  void interrupt() noexcept override;

private:
  class Stream;
  std::unique_ptr<Stream> stream_;
};

} // namespace vorin::media
