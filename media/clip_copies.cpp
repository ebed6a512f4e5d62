// Takes a clip's other streams to an output: copied as they are, subtitles and covers in another form where the output wants
// that.
#include "clip_streams.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vorin::media {
namespace {

bool isAttachedPicture(const AVStream& stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

// A stream of the same codec, with a tag of the output's own: one of the source's container has no meaning in another one.
AVStream& addLike(const AVStream& stream, AVFormatContext& output) {
  AVStream* added = avformat_new_stream(&output, nullptr);
  if (added == nullptr || avcodec_parameters_copy(added->codecpar, stream.codecpar) < 0) {
    throw std::bad_alloc();
  }
  if (output.oformat->codec_tag != nullptr &&
      av_codec_get_id(output.oformat->codec_tag, added->codecpar->codec_tag) != added->codecpar->codec_id) {
    added->codecpar->codec_tag = 0;
  }
  added->time_base = stream.time_base;
  return *added;
}

// Tries it in memory: the muxers' lists name codecs that they refuse when they write the header.
bool canHold(const AVOutputFormat& format, const AVStream& stream) {
  if (stream.codecpar->codec_type == AVMEDIA_TYPE_ATTACHMENT) {
    return isMatroska(format) && !isWebm(format);
  }
  AVFormatContext* context = nullptr;
  if (avformat_query_codec(&format, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 1) {
    return false;
  }
  if (avformat_alloc_output_context2(&context, &format, nullptr, nullptr) < 0 || avio_open_dyn_buf(&context->pb) < 0) {
    avformat_free_context(context);
    throw std::bad_alloc();
  }
  addLike(stream, *context);
  const bool is_taken = avformat_write_header(context, nullptr) >= 0;
  std::uint8_t* header = nullptr;
  avio_close_dyn_buf(context->pb, &header);
  av_free(header);
  avformat_free_context(context);
  return is_taken;
}

const char* kindOf(const AVStream& stream) {
  switch (stream.codecpar->codec_type) {
  case AVMEDIA_TYPE_AUDIO:
    return "sound";
  case AVMEDIA_TYPE_SUBTITLE:
    return "subtitles";
  case AVMEDIA_TYPE_ATTACHMENT:
    return "attached file";
  default:
    return "cover picture";
  }
}

// Such as "sound (aac)".
std::string describe(const AVStream& stream) {
  return std::string(kindOf(stream)) + " (" + avcodec_get_name(stream.codecpar->codec_id) + ")";
}

void copySideData(const AVStream& from, AVStream& to) {
  for (int i = 0; i < from.nb_side_data; ++i) {
    const AVPacketSideData& data = from.side_data[i];
    std::uint8_t* copy = av_stream_new_side_data(&to, data.type, data.size);
    if (copy == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(copy, data.data, data.size);
  }
}

// ---- Covers: Matroska holds them as attached files ----

const char* coverType(const AVStream& stream) {
  switch (stream.codecpar->codec_id) {
  case AV_CODEC_ID_MJPEG:
    return "image/jpeg";
  case AV_CODEC_ID_PNG:
    return "image/png";
  default:
    return nullptr;
  }
}

bool becomesAttachment(const AVStream& stream, const AVOutputFormat& format) {
  return isAttachedPicture(stream) && isMatroska(format) && !isWebm(format) && coverType(stream) != nullptr &&
         stream.attached_pic.size > 0;
}

void addAttachment(const AVStream& cover, AVFormatContext& output) {
  AVStream* added = avformat_new_stream(&output, nullptr);
  const auto bytes = static_cast<std::size_t>(cover.attached_pic.size);
  auto* copy = static_cast<std::uint8_t*>(av_mallocz(bytes + AV_INPUT_BUFFER_PADDING_SIZE));
  if (added == nullptr || copy == nullptr) {
    av_free(copy);
    throw std::bad_alloc();
  }
  std::memcpy(copy, cover.attached_pic.data, bytes);
  added->codecpar->codec_type = AVMEDIA_TYPE_ATTACHMENT;
  added->codecpar->codec_id = cover.codecpar->codec_id;
  added->codecpar->extradata = copy; // the stream's from here on
  added->codecpar->extradata_size = cover.attached_pic.size;
  av_dict_copy(&added->metadata, cover.metadata, 0);
  av_dict_set(&added->metadata, "filename", cover.codecpar->codec_id == AV_CODEC_ID_PNG ? "cover.png" : "cover.jpg", 0);
  av_dict_set(&added->metadata, "mimetype", coverType(cover), 0);
}

// ---- Subtitles ----

// The kind of text that a container holds best.
AVCodecID textKind(const AVOutputFormat& format) {
  return isWebm(format) ? AV_CODEC_ID_WEBVTT : isMatroska(format) ? AV_CODEC_ID_SUBRIP : AV_CODEC_ID_MOV_TEXT;
}

bool isText(const AVStream& stream) {
  const AVCodecDescriptor* kind = avcodec_descriptor_get(stream.codecpar->codec_id);
  return stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE && kind != nullptr && (kind->props & AV_CODEC_PROP_TEXT_SUB) != 0;
}

Error unusableSubtitles(const AVStream& stream) {
  return {ErrorKind::kInputOutput, "the clip's " + describe(stream) + " cannot be converted: name the output .mkv"};
}

CodecHandle openSubtitleDecoder(const AVStream& stream) {
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  CodecHandle decoder(avcodec_alloc_context3(codec));
  if (!decoder || codec == nullptr || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) {
    throw unusableSubtitles(stream);
  }
  decoder->pkt_timebase = stream.time_base;
  return avcodec_open2(decoder.get(), codec, nullptr) >= 0 ? std::move(decoder) : throw unusableSubtitles(stream);
}

// The decoder's header describes the styles of its texts.
CodecHandle openSubtitleEncoder(const AVStream& stream, const AVCodecContext& decoder, const AVOutputFormat& format) {
  const AVCodec* codec = avcodec_find_encoder(textKind(format));
  CodecHandle encoder(avcodec_alloc_context3(codec));
  if (!encoder || codec == nullptr) {
    throw unusableSubtitles(stream);
  }
  if (decoder.subtitle_header != nullptr) {
    const auto bytes = static_cast<std::size_t>(decoder.subtitle_header_size);
    encoder->subtitle_header = static_cast<std::uint8_t*>(av_mallocz(bytes + 1));
    if (encoder->subtitle_header == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(encoder->subtitle_header, decoder.subtitle_header, bytes);
    encoder->subtitle_header_size = decoder.subtitle_header_size;
  }
  encoder->time_base = kMicroseconds;
  return avcodec_open2(encoder.get(), codec, nullptr) >= 0 ? std::move(encoder) : throw unusableSubtitles(stream);
}

} // namespace

SubtitleEncoder::SubtitleEncoder(const AVStream& source, AVFormatContext& output)
    : decoder_(openSubtitleDecoder(source)), encoder_(openSubtitleEncoder(source, *decoder_, *output.oformat)) {
  AVStream* stream = avformat_new_stream(&output, nullptr);
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, encoder_.get()) < 0) {
    throw std::bad_alloc();
  }
  index_ = stream->index;
  stream->time_base = {1, 1000};
  stream->disposition = source.disposition;
  av_dict_copy(&stream->metadata, source.metadata, 0);
}

bool SubtitleEncoder::convert(AVPacket& packet, const AVFormatContext& output) {
  constexpr int kMostBytes = 1 << 20;
  constexpr AVRational kMilliseconds = {1, 1000};
  const PacketHandle text = newPacket();
  AVSubtitle subtitle = {};
  int is_decoded = 0;
  if (avcodec_decode_subtitle2(decoder_.get(), &subtitle, &is_decoded, &packet) < 0 || is_decoded == 0) {
    return false;
  }
  const std::int64_t begin = av_rescale_q(packet.pts, decoder_->pkt_timebase, kMicroseconds) +
                             av_rescale_q(subtitle.start_display_time, kMilliseconds, kMicroseconds);
  const std::int64_t length_ms = std::int64_t{subtitle.end_display_time} - subtitle.start_display_time;
  subtitle.pts = begin;
  subtitle.start_display_time = 0;
  subtitle.end_display_time = static_cast<std::uint32_t>(length_ms);
  const bool has_text = subtitle.num_rects > 0 && packet.pts != AV_NOPTS_VALUE && length_ms >= 0;
  const int bytes = has_text && av_new_packet(text.get(), kMostBytes) >= 0
                        ? avcodec_encode_subtitle(encoder_.get(), text->data, kMostBytes, &subtitle)
                        : 0;
  avsubtitle_free(&subtitle);
  if (bytes <= 0) {
    return false;
  }
  av_shrink_packet(text.get(), bytes);
  text->stream_index = index_;
  text->pts = text->dts = av_rescale_q(begin, kMicroseconds, output.streams[index_]->time_base);
  text->duration = av_rescale_q(length_ms, kMilliseconds, output.streams[index_]->time_base);
  text->flags |= AV_PKT_FLAG_KEY;
  av_packet_unref(&packet);
  av_packet_move_ref(&packet, text.get());
  return true;
}

std::int64_t latenessIn(const AVOutputFormat& format, const AVCodecParameters& sound, AVRational time_base) {
  if (!isMatroska(format) || sound.codec_id != AV_CODEC_ID_OPUS || sound.sample_rate <= 0) {
    return 0;
  }
  return av_rescale_q(sound.initial_padding, {1, sound.sample_rate}, time_base);
}

bool isCopied(const SourceStreams& source, int index) {
  const AVStream& stream = *source.context->streams[index];
  switch (stream.codecpar->codec_type) {
  case AVMEDIA_TYPE_AUDIO:
  case AVMEDIA_TYPE_SUBTITLE:
  case AVMEDIA_TYPE_ATTACHMENT:
    return true;
  case AVMEDIA_TYPE_VIDEO:
    return index != source.video_index && isAttachedPicture(stream);
  default:
    return false;
  }
}

CopiedStreams::CopiedStreams(const SourceStreams& source, AVFormatContext& output, Sound sound)
    : targets_(source.context->nb_streams) {
  for (int index = 0; index < static_cast<int>(targets_.size()); ++index) {
    const AVStream& stream = *source.context->streams[index];
    if (!isCopied(source, index)) {
      if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && index != source.video_index) {
        warnings_.emplace_back("the clip has more than one video track: only the main one is restyled, the others are left out");
      }
      continue;
    }
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      addSound(stream, output, sound);
    } else if (becomesAttachment(stream, *output.oformat)) {
      addAttachment(stream, output);
    } else if (canHold(*output.oformat, stream)) {
      add(stream, output);
    } else if (isText(stream)) {
      subtitle_encoders_.try_emplace(index, stream, output);
      warnings_.push_back("a file of the kind " + std::string(output.oformat->name) + " cannot hold the clip's " +
                          describe(stream) + ": they become " + avcodec_get_name(textKind(*output.oformat)));
    } else {
      warnings_.push_back("left out, since a file of the kind " + std::string(output.oformat->name) +
                          " cannot hold it: the clip's " + describe(stream) +
                          (std::string_view(output.oformat->name) == "matroska" ? "" : "; name the output .mkv to keep all"));
    }
  }
}

void CopiedStreams::addSound(const AVStream& stream, AVFormatContext& output, Sound sound) {
  if (sound == Sound::kNone) {
    return;
  }
  if (sound != Sound::kAac && canHold(*output.oformat, stream)) {
    add(stream, output);
    return;
  }
  const std::string kind = output.oformat->name;
  if (sound == Sound::kCopy) {
    throw Error(ErrorKind::kInputOutput,
                "the clip's " + describe(stream) + " cannot go into a file of the kind " + kind + ": leave out --sound copy" +
                    (canHold(*av_guess_format("matroska", nullptr, nullptr), stream) ? ", or name the output .mkv" : ""));
  }
  sound_encoders_.try_emplace(stream.index, stream, output);
  if (sound == Sound::kCopyOrAac) {
    warnings_.push_back("a file of the kind " + kind + " cannot hold the clip's " + describe(stream) + ": it becomes " +
                        (isWebm(*output.oformat) ? "Opus" : "AAC"));
  }
}

void CopiedStreams::add(const AVStream& stream, AVFormatContext& output) {
  AVStream& added = addLike(stream, output);
  added.avg_frame_rate = stream.avg_frame_rate;
  added.disposition = stream.disposition;
  av_dict_copy(&added.metadata, stream.metadata, 0);
  copySideData(stream, added);
  targets_[static_cast<std::size_t>(stream.index)] =
      Target{added.index, stream.time_base, latenessIn(*output.oformat, *stream.codecpar, stream.time_base), AV_NOPTS_VALUE};
}

bool CopiedStreams::place(AVPacket& packet, const AVFormatContext& output) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index >= targets_.size() || !targets_[index]) { // a stream may also begin in the middle of a broadcast
    return false;
  }
  std::optional<Target>& target = targets_[index];
  const AVStream& stream = *output.streams[target->index];
  packet.stream_index = target->index;
  packet.pos = -1;
  for (std::int64_t* time : {&packet.pts, &packet.dts}) {
    if (*time != AV_NOPTS_VALUE) {
      *time += target->lateness;
    }
  }
  av_packet_rescale_ts(&packet, target->source_time_base, stream.time_base);
  if (packet.dts == AV_NOPTS_VALUE) {
    packet.dts = packet.pts;
  }
  // Muxers refuse a packet that does not come after the one before; broken clips and coarse time bases have such.
  const std::int64_t last = target->last_decode_time;
  if (last != AV_NOPTS_VALUE && packet.dts != AV_NOPTS_VALUE && packet.dts <= last &&
      stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
    packet.dts = last + 1;
    packet.pts = std::max(packet.pts, packet.dts);
  }
  target->last_decode_time = packet.dts;
  return true;
}

} // namespace vorin::media
