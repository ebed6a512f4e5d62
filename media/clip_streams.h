// clip_streams.h: a clip's streams: its main video with a decoder, those that are copied as they are from a source to a sink
// (sound, subtitles, cover pictures, fonts), and the encoder of pictures. Private to this folder.
#pragma once

#include "picture_conversion.h"

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::media {

// What is taken of a clip, in AV_TIME_BASE as its file counts; none: from its begin, to its end.
struct ClipSpan {
  std::optional<std::int64_t> begin;
  std::optional<std::int64_t> end;

  bool isCut() const { return begin || end; }

  // Whether this is the span's end, or later.
  bool endsBefore(std::int64_t time, AVRational time_base) const;

  // Whether a frame is taken. One that is seen for less than half the usual duration after the begin is not.
  bool shows(std::int64_t time, std::int64_t duration, std::int64_t usual_duration, AVRational time_base) const;

  // Whether a packet is taken. Packets of sound are taken whole, if they begin in the span; others, which may begin before, are
  // cut.
  bool takes(AVPacket& packet, AVRational time_base, bool is_paced) const;
};

// A sink copies from it when it is made, before the source is read.
struct SourceStreams {
  InputHandle context;
  int video_index = -1;
  ClipSpan span;

  const AVStream& video() const { return *context->streams[video_index]; }
};

// A clip that is open, but not read yet.
struct OpenClip {
  std::shared_ptr<SourceStreams> streams;
  CodecHandle decoder;
  SourceInfo info; // with these streams
};

// Throws kInputOutput for a file that is not a clip or cannot be decoded.
OpenClip openClip(const std::filesystem::path& clip, int decoder_threads);

// Matroska counts Opus from behind the samples that players drop, and libav's reader takes that off; its writer does not add it.
// Returns what is to be added, in a time base.
std::int64_t latenessIn(const AVOutputFormat& format, const AVCodecParameters& sound, AVRational time_base);

// Whether packets or attachments of this stream are copied.
bool isCopied(const SourceStreams& source, int index);

// Sets the span of the options, and where the file can be searched, goes to a frame in front of it that needs no other.
// Throws nothingIn where the file says that it ends before.
void cutTo(const SourceOptions& options, SourceStreams& streams, SourceInfo& info);

// Where the file can be searched, goes to a frame in front of that time (in AV_TIME_BASE, as the file counts) that needs no
// other.
void seekBefore(std::int64_t time, const SourceStreams& streams);

// The error for a span without a frame.
Error nothingIn(const SourceInfo& info);

// WebM is a kind of Matroska that holds few codecs.
inline bool isWebm(const AVOutputFormat& format) {
  return std::string_view(format.name) == "webm";
}
inline bool isMatroska(const AVOutputFormat& format) {
  return std::string_view(format.name) == "matroska" || isWebm(format);
}

// Decodes the packets of a sound and encodes it as AAC, or for WebM as Opus. Gaps in its times become silence.
class SoundEncoder {
public:
  // Adds a stream to the output. Throws kInputOutput if there is no decoder or the encoder does not take the sound.
  SoundEncoder(const AVStream& source, AVFormatContext& output);

  // After each of these, call receive() until it returns false. Returns false for a packet that cannot be decoded.
  bool send(const AVPacket& packet);
  void sendEnd();

  // Gets the next packet of the output. Returns false if none is ready yet or no more will follow.
  bool receive(AVPacket& packet, const AVFormatContext& output);

private:
  // Adds the samples of a decoded frame, or a second of the silence before it, to those that wait for the encoder. Returns false
  // if there are none.
  bool receiveSamples();
  void prepareResampler(const AVFrame& frame);
  std::int64_t resamplerRate(const AVFrame& frame) const;
  std::int64_t resamplerTime(const AVFrame& frame) const;
  double silenceBefore(const AVFrame& frame) const;
  void resample(std::uint8_t** planes, int samples); // null: the end
  FrameHandle nextFrame();                           // null: too few samples are there

  AVRational source_time_base_;
  CodecHandle decoder_;
  CodecHandle encoder_;
  int index_ = 0;             // of the output's stream
  std::int64_t lateness_ = 0; // of the output's times, in the encoder's time base
  ResamplerHandle resampler_;
  bool resampler_has_time_ = false;
  std::array<std::uint64_t, 4> resampled_form_{}; // of the samples that it takes: format, rate, channels, their places
  SamplesHandle samples_;                         // resampled, not encoded yet
  FrameHandle decoded_ = newFrame();              // without samples: none waits
  std::optional<std::int64_t> next_time_;         // of samples_, in samples
  bool has_ended_ = false;
};

// Turns subtitles of one kind of text into those of another, as the output holds them.
class SubtitleEncoder {
public:
  // Adds a stream to the output. Throws kInputOutput if libavcodec lacks one of the kinds.
  SubtitleEncoder(const AVStream& source, AVFormatContext& output);

  // Gives the packet the text, stream and times of the output. Returns false for a packet without text.
  bool convert(AVPacket& packet, const AVFormatContext& output);

private:
  CodecHandle decoder_;
  CodecHandle encoder_;
  int index_ = 0; // of the output's stream
};

// Maps the source's streams to those of an output.
class CopiedStreams {
public:
  // Adds the streams that the output can hold. Throws kInputOutput for a sound that can be neither copied nor encoded as asked
  // for: a clip is not complete without its sound. Anything else that the output cannot hold gets a warning.
  CopiedStreams(const SourceStreams& source, AVFormatContext& output, Sound sound);

  // Sets the packet's stream and times for the output. Returns false if its stream is not in the output.
  bool place(AVPacket& packet, const AVFormatContext& output);

  // The encoders of the sounds and subtitles that are not copied, by the source's index.
  std::map<int, SoundEncoder>& soundEncoders() { return sound_encoders_; }
  std::map<int, SubtitleEncoder>& subtitleEncoders() { return subtitle_encoders_; }

  const std::vector<std::string>& warnings() const { return warnings_; }

private:
  struct Target {
    int index;
    AVRational source_time_base;
    std::int64_t lateness; // to be added, in the source's time base
    std::int64_t last_decode_time;
  };

  void addSound(const AVStream& stream, AVFormatContext& output, Sound sound);
  void add(const AVStream& stream, AVFormatContext& output);

  std::vector<std::optional<Target>> targets_; // by the source's index
  std::map<int, SoundEncoder> sound_encoders_;
  std::map<int, SubtitleEncoder> subtitle_encoders_;
  std::vector<std::string> warnings_;
};

// ---- The encoder ----

// The encoder of the options with its settings, not opened yet. Throws kUsage if there is none, or none that fits.
CodecHandle configuredEncoder(const SinkOptions& options, const AVOutputFormat& container);

// Encodes pictures with one of libavcodec's encoders. It counts frames at the clip's average rate, and the packets get the
// frames' own times afterwards. So variable rates and fine time bases are kept exactly, whatever the encoder supports, and the
// rate in the encoded stream is right.
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

  void setPictures(const SourceInfo& source, Size size, const SinkOptions& options, AVPixelFormat format);
  std::int64_t timeOf(std::int64_t frame_number) const;
  void giveTimes(AVPacket& packet);

  CodecHandle codec_;
  std::optional<FrameFromPicture> to_frame_;
  std::map<std::int64_t, Span> spans_; // by frame number; an entry lives until no packet needs it
  std::optional<Lead> lead_;           // known from the first packet on
  std::int64_t frames_ = 0;
};

} // namespace vorin::media
