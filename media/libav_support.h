// libav_support.h: owners of libav's objects, and the texts of errors of libav and of clips. Private to this folder.
#pragma once

#include "sources_and_sinks.h"
#include "text.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/avutil.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <array>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

namespace vorin::media {

// AV_TIME_BASE_Q without its compound literal, which is no C++ and which MSVC refuses.
inline constexpr AVRational kMicroseconds = {1, AV_TIME_BASE};

struct InputCloser {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct OutputCloser { // closes the file without finishing it
  void operator()(AVFormatContext* context) const {
    avio_closep(&context->pb);
    avformat_free_context(context);
  }
};
struct CodecCloser {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameFreer {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFreer {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScalerFreer {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
// AVI and MOV hold packets without data, which a decoder would take for the end of its stream.
inline bool isEmpty(const AVPacket& packet) {
  return packet.size == 0 && packet.side_data_elems == 0;
}

struct ResamplerFreer {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
struct SamplesFreer {
  void operator()(AVAudioFifo* samples) const { av_audio_fifo_free(samples); }
};
struct DictionaryFreer {
  void operator()(AVDictionary* dictionary) const { av_dict_free(&dictionary); }
};

using InputHandle = std::unique_ptr<AVFormatContext, InputCloser>;
using OutputHandle = std::unique_ptr<AVFormatContext, OutputCloser>;
using CodecHandle = std::unique_ptr<AVCodecContext, CodecCloser>;
using FrameHandle = std::unique_ptr<AVFrame, FrameFreer>;
using PacketHandle = std::unique_ptr<AVPacket, PacketFreer>;
using ScalerHandle = std::unique_ptr<SwsContext, ScalerFreer>;
using ResamplerHandle = std::unique_ptr<SwrContext, ResamplerFreer>;
using SamplesHandle = std::unique_ptr<AVAudioFifo, SamplesFreer>;
using DictionaryHandle = std::unique_ptr<AVDictionary, DictionaryFreer>;

// The data of a Packet.
struct PacketData {
  PacketHandle packet; // stream_index and time stamps are the source's
};

// throws std::bad_alloc if there is no memory; the next one too
inline FrameHandle newFrame() {
  FrameHandle frame(av_frame_alloc());
  return frame ? std::move(frame) : throw std::bad_alloc();
}
inline PacketHandle newPacket() {
  PacketHandle packet(av_packet_alloc());
  return packet ? std::move(packet) : throw std::bad_alloc();
}

inline std::string libavText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  static_cast<void>(av_strerror(error, text.data(), text.size()));
  return text.data();
}

// Silences libav's messages on standard error, in the whole process: the program reports errors itself.
inline void silenceLibav() {
  av_log_set_level(AV_LOG_QUIET);
}

// An error that begins with the clip's name.
inline Error fault(const std::filesystem::path& clip, const std::string& what) {
  return {ErrorKind::kInputOutput, base::quotedPath(clip) + " " + what};
}

// libav takes "name:" before a path for a protocol, and UTF-8 on every system.
inline std::string fileUrl(const std::filesystem::path& path) {
  return "file:" + base::utf8Text(path);
}

inline AVRational toLibav(Rational value) {
  return {value.num, value.den};
}
inline Rational fromLibav(AVRational value) {
  return {value.num, value.den};
}

} // namespace vorin::media
