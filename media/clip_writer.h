// clip_writer.h: a clip as a sink of frames: encoded by libavcodec, multiplexed by libavformat into MP4, MOV or Matroska.
//
// Kept as they are in the source: time stamps (Matroska rounds them to milliseconds), pixel aspect, rotation (not in
// Matroska, which warns), colour tags, the packets of sound and subtitles, cover pictures, chapters, titles. Pictures are written
// 8 bits deep and with colour at half the width and height, as players want them; H.264 and H.265 cannot hold odd sizes that way,
// so pictures of odd size keep their size and get colour at full width and height.
//
// The file is written under another name in its folder and gets its own at the end: it is there and plays, or it is not there.
#pragma once

#include "frames.h"

#include <filesystem>

namespace vorin::media {

struct ClipWriterOptions {
  std::string codec = "h264"; // h264, h265, vp9, av1, or libavcodec's name of an encoder
  std::optional<int> crf;     // quality, lower is better; none: the encoder's usual one
  bool overwrite = false;
};

// Whether a file of this name would be written as a clip.
bool isClipName(const std::filesystem::path& file);

// For messages: ".mp4, ..."
std::string clipExtensions();

// For messages: the quality of each codec where none is asked for, "22 for h264, ..."
std::string usualQualities();

// Throws an OptionError, as the writer would, where the name, the codec and the quality do not go together.
void checkClipCodec(const std::filesystem::path& output, const ClipWriterOptions& options);

class ClipWriter : public FrameSink {
public:
  // source: not read from yet. size: of the pictures to come. Throws an OptionError for a codec or a quality that there is not,
  // and a base::OutputError where the output exists or its folder does not.
  ClipWriter(const std::filesystem::path& output, const VideoInfo& source, Size size, const ClipWriterOptions& options);
  ~ClipWriter() override;

  Size size() const override;
  void write(VideoFrame&& frame) override;
  void write(StreamPacket&& packet) override;
  void finish() override;

  // Without a single frame there is no file, and one that was there before stays: it may be whole.
  std::int64_t finishEarly() override;

  std::vector<std::string> warnings() const override;

private:
  class File;
  std::unique_ptr<File> file_;
};

} // namespace vorin::media
