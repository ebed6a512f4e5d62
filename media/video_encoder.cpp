#include "clip_formats.h"
#include "clip_streams.h"
#include "sources_and_sinks.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

namespace vorin::media {
namespace {

const EncoderRow* findRow(const std::string& codec) {
  const auto* row = std::find_if(kEncoders.begin(), kEncoders.end(), [&](const EncoderRow& each) {
    return each.name == codec || each.other_name == codec || each.encoder == codec;
  });
  return row == kEncoders.end() ? nullptr : row;
}

std::string codecOf(const SinkOptions& options, const AVOutputFormat& container) {
  const bool is_webm = std::string_view(container.name) == "webm";
  return !options.codec.empty() ? options.codec : is_webm ? "vp9" : "h264";
}

// Those of the usual codecs that libavcodec was built with.
std::string usualCodecs() {
  std::vector<std::string_view> names;
  for (const EncoderRow& row : kEncoders) {
    if (avcodec_find_encoder_by_name(row.encoder) != nullptr) {
      names.push_back(row.name);
    }
  }
  std::string text;
  for (const std::string_view& name : names) {
    text.append(text.empty() ? "" : &name == &names.back() ? " or " : ", ").append(name);
  }
  return text;
}

const AVCodec& findEncoder(const std::string& codec, const AVOutputFormat& container) {
  const EncoderRow* row = findRow(codec);
  const AVCodec* encoder = avcodec_find_encoder_by_name(row != nullptr ? row->encoder : codec.c_str());
  if (encoder == nullptr || encoder->type != AVMEDIA_TYPE_VIDEO) {
    throw Error(ErrorKind::kUsage, "there is no encoder for --codec '" + codec + "': use " + usualCodecs() +
                                       ", or the name of an encoder of libavcodec");
  }
  if (avformat_query_codec(&container, encoder->id, FF_COMPLIANCE_NORMAL) != 1) {
    throw Error(ErrorKind::kUsage, "the format " + std::string(container.name) + " cannot hold --codec '" + codec + "': " +
                                       (std::string_view(container.name) == "matroska" ? "use h264" : "name the output .mkv"));
  }
  return *encoder;
}

bool needsEvenSize(const AVCodec& encoder) {
  return encoder.id == AV_CODEC_ID_H264 || encoder.id == AV_CODEC_ID_HEVC;
}

AVPixelFormat chooseFormat(const AVCodec& encoder, Size size) {
  if (encoder.pix_fmts == nullptr) {
    return AV_PIX_FMT_YUV420P;
  }
  const bool is_odd = size.width % 2 != 0 || size.height % 2 != 0;
  if (is_odd && needsEvenSize(encoder)) {
    return avcodec_find_best_pix_fmt_of_list(encoder.pix_fmts, AV_PIX_FMT_YUV444P, 0, nullptr);
  }
  const AVPixelFormat* end = encoder.pix_fmts;
  while (*end != AV_PIX_FMT_NONE) {
    ++end;
  }
  for (const AVPixelFormat wanted : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P}) { // NV12 goes in without another copy
    if (!is_odd && std::find(encoder.pix_fmts, end, wanted) != end) {
      return wanted;
    }
  }
  return avcodec_find_best_pix_fmt_of_list(encoder.pix_fmts, AV_PIX_FMT_YUV420P, 0, nullptr);
}

void setQuality(AVCodecContext& context, const std::string& codec, std::optional<int> wish) {
  const EncoderRow* row = findRow(codec);
  const bool has_crf = av_opt_find(context.priv_data, "crf", nullptr, 0, 0) != nullptr;
  if (wish && !has_crf) {
    throw Error(ErrorKind::kUsage, "the encoder of --codec '" + codec + "' has no --crf: leave it out");
  }
  if (has_crf && (wish || row != nullptr)) {
    const int crf = wish.value_or(row != nullptr ? row->usual_crf : 0);
    const int worst_crf = row != nullptr ? row->worst_crf : 63;
    if (crf < 0 || crf > worst_crf || av_opt_set(context.priv_data, "crf", std::to_string(crf).c_str(), 0) < 0) {
      throw Error(ErrorKind::kUsage, "--crf " + std::to_string(crf) + " is out of range for --codec '" + codec +
                                         "': use 0 (best) to " + std::to_string(worst_crf));
    }
    context.bit_rate = 0; // a bit rate would limit the quality
  }
  if (!has_crf) {
    constexpr int kGood = 3; // on a scale of 2 (best) to 31
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality = kGood * FF_QP2LAMBDA;
  }
}

// libx265 gives no usable decode time for clips of one or two frames. They are not reordered, so it equals the presentation time.
std::int64_t decodeNumber(const AVPacket& packet) {
  constexpr std::int64_t kFarthest = 32; // largest lead of decoding, in frames
  const bool is_by_chance = packet.dts > packet.pts || packet.dts < packet.pts - kFarthest;
  return is_by_chance ? packet.pts : packet.dts;
}

} // namespace

CodecHandle configuredEncoder(const SinkOptions& options, const AVOutputFormat& container) {
  const std::string name = codecOf(options, container);
  CodecHandle codec(avcodec_alloc_context3(&findEncoder(name, container)));
  if (!codec) {
    throw std::bad_alloc();
  }
  if (const EncoderRow* row = findRow(name)) {
    static_cast<void>(av_set_options_string(codec->priv_data, row->settings, "=", ","));
  }
  setQuality(*codec, name, options.crf);
  return codec;
}

VideoEncoder::VideoEncoder(const SourceInfo& source, Size size, const SinkOptions& options, const AVOutputFormat& container)
    : codec_(configuredEncoder(options, container)) {
  const AVCodec& encoder = *codec_->codec;
  setPictures(source, size, options, chooseFormat(encoder, size));
  if ((container.flags & AVFMT_GLOBALHEADER) != 0) {
    codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  }
  if (encoder.id == AV_CODEC_ID_HEVC && std::strcmp(container.name, "matroska") != 0) {
    codec_->codec_tag = MKTAG('h', 'v', 'c', '1'); // the one of HEVC's two tags that all players accept
  }
  const int status = avcodec_open2(codec_.get(), &encoder, nullptr);
  if (status < 0) {
    throw Error(ErrorKind::kUsage, "--codec '" + codecOf(options, container) + "' cannot encode pictures of " +
                                       std::to_string(size.width) + "x" + std::to_string(size.height) + " at this rate (" +
                                       libavText(status) + "): use h264");
  }
}

void VideoEncoder::setPictures(const SourceInfo& source, Size size, const SinkOptions& options, AVPixelFormat format) {
  const YuvColours colours = yuvColours(detailsOf(source).colours, size);
  AVCodecContext& context = *codec_;
  context.width = size.width;
  context.height = size.height;
  context.pix_fmt = format;
  constexpr AVRational kUsualRate = {25, 1};
  context.framerate = source.frame_rate.num > 0 ? toLibav(source.frame_rate) : kUsualRate;
  context.time_base = av_inv_q(context.framerate);
  context.sample_aspect_ratio = toLibav(detailsOf(source).pixel_aspect);
  context.thread_count = options.encoder_threads;
  context.colorspace = static_cast<AVColorSpace>(detailsOf(source).colours.matrix);
  context.color_primaries = static_cast<AVColorPrimaries>(detailsOf(source).colours.primaries);
  context.color_trc = static_cast<AVColorTransferCharacteristic>(detailsOf(source).colours.transfer);
  context.chroma_sample_location = static_cast<AVChromaLocation>(detailsOf(source).colours.chroma_position);
  if (detailsOf(source).colours.range_is_known) {
    context.color_range = colours.full_range ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  }
  to_frame_.emplace(plainFormat(format), size, colours, pictureColours(source));
}

void VideoEncoder::send(Frame&& frame) {
  spans_[frames_] = {frame.time, frame.duration};
  const FrameHandle pixels = to_frame_->convert(std::move(frame.picture));
  pixels->pts = frames_++;
  const int status = avcodec_send_frame(codec_.get(), pixels.get());
  if (status < 0) {
    throw Error(ErrorKind::kInputOutput, "the encoder stopped (" + libavText(status) + "): use another --codec");
  }
}

bool VideoEncoder::endsQuickly() const {
  const EncoderRow* row = findRow(codec_->codec->name);
  return (codec_->codec->capabilities & AV_CODEC_CAP_DELAY) == 0 || (row != nullptr && row->ends_quickly);
}

void VideoEncoder::sendEnd() {
  static_cast<void>(avcodec_send_frame(codec_.get(), nullptr));
}

bool VideoEncoder::receive(AVPacket& packet) {
  const int status = avcodec_receive_packet(codec_.get(), &packet);
  if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
    return false;
  }
  if (status < 0) {
    throw Error(ErrorKind::kInputOutput, "the encoder stopped (" + libavText(status) + "): use another --codec");
  }
  giveTimes(packet);
  return true;
}

// The time of a frame. One past the last frame sent is placed as if copies of that one followed.
std::int64_t VideoEncoder::timeOf(std::int64_t frame_number) const {
  const auto& [number, span] = *std::prev(spans_.upper_bound(frame_number));
  return span.time + (frame_number - number) * span.duration;
}

// If frames are reordered, the first decode numbers are negative. Their packets get the times of the first frames, shifted to end
// where the clip begins: decode times never run backwards, and the track is as long as its frames.
void VideoEncoder::giveTimes(AVPacket& packet) {
  const std::int64_t decode_number = decodeNumber(packet);
  if (!lead_) {
    const std::int64_t frames = std::max<std::int64_t>(0, -decode_number);
    lead_ = {frames, timeOf(frames) - timeOf(0)};
  }
  const Span& span = spans_.at(packet.pts);
  packet.pts = span.time;
  packet.duration = span.duration;
  packet.dts = decode_number < 0 ? timeOf(decode_number + lead_->frames) - lead_->time : timeOf(decode_number);
  spans_.erase(spans_.begin(), spans_.lower_bound(decode_number));
}

} // namespace vorin::media
