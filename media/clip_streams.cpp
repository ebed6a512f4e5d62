#include "clip_streams.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vorin::media {
namespace {

bool isAttachedPicture(const AVStream& stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

bool canHold(const AVOutputFormat& format, const AVStream& stream) {
  if (stream.codecpar->codec_type == AVMEDIA_TYPE_ATTACHMENT) {
    return std::string_view(format.name) == "matroska";
  }
  return avformat_query_codec(&format, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1;
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

// Matroska counts Opus from behind the samples that players drop, and libav's reader takes that off; its writer does not add it.
std::int64_t lateness(const AVStream& stream) {
  if (stream.codecpar->codec_id != AV_CODEC_ID_OPUS || stream.codecpar->sample_rate <= 0) {
    return 0;
  }
  return av_rescale_q(stream.codecpar->initial_padding, {1, stream.codecpar->sample_rate}, stream.time_base);
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

} // namespace

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

CopiedStreams::CopiedStreams(const SourceStreams& source, AVFormatContext& output) : targets_(source.context->nb_streams) {
  for (int index = 0; index < static_cast<int>(targets_.size()); ++index) {
    const AVStream& stream = *source.context->streams[index];
    if (!isCopied(source, index)) {
      if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && index != source.video_index) {
        warnings_.emplace_back("the clip has more than one video track: only the main one is drawn, the others are left out");
      }
      continue;
    }
    if (canHold(*output.oformat, stream)) {
      add(stream, output);
    } else if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      throw Error(ErrorKind::kInputOutput, "the clip's " + describe(stream) + " cannot go into a file of the kind " +
                                               output.oformat->name + ": name the output .mkv");
    } else {
      warnings_.push_back("left out, since a file of the kind " + std::string(output.oformat->name) +
                          " cannot hold it: the clip's " + describe(stream) + "; name the output .mkv to keep all");
    }
  }
}

void CopiedStreams::add(const AVStream& stream, AVFormatContext& output) {
  AVStream* added = avformat_new_stream(&output, nullptr);
  if (added == nullptr || avcodec_parameters_copy(added->codecpar, stream.codecpar) < 0) {
    throw std::bad_alloc();
  }
  // A tag of the source's container means nothing in another one; the muxer knows its own.
  if (output.oformat->codec_tag != nullptr &&
      av_codec_get_id(output.oformat->codec_tag, added->codecpar->codec_tag) != added->codecpar->codec_id) {
    added->codecpar->codec_tag = 0;
  }
  added->time_base = stream.time_base;
  added->avg_frame_rate = stream.avg_frame_rate;
  added->disposition = stream.disposition;
  av_dict_copy(&added->metadata, stream.metadata, 0);
  copySideData(stream, *added);
  targets_[static_cast<std::size_t>(stream.index)] = Target{
      added->index, stream.time_base, std::strcmp(output.oformat->name, "matroska") == 0 ? lateness(stream) : 0, AV_NOPTS_VALUE};
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

void CopiedStreams::copyMetadata(const AVFormatContext& source, AVFormatContext& output) {
  av_dict_copy(&output.metadata, source.metadata, 0);
  for (const char* own : {"major_brand", "minor_version", "compatible_brands", "encoder"}) { // of the container, not of the clip
    av_dict_set(&output.metadata, own, nullptr, 0);
  }
  if (source.nb_chapters == 0) {
    return;
  }
  output.chapters = static_cast<AVChapter**>(av_calloc(source.nb_chapters, sizeof(AVChapter*)));
  if (output.chapters == nullptr) {
    throw std::bad_alloc();
  }
  for (unsigned i = 0; i < source.nb_chapters; ++i) {
    const AVChapter& from = *source.chapters[i];
    auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (chapter == nullptr) {
      throw std::bad_alloc();
    }
    chapter->id = from.id;
    chapter->time_base = from.time_base;
    chapter->start = from.start;
    chapter->end = from.end;
    av_dict_copy(&chapter->metadata, from.metadata, 0);
    output.chapters[output.nb_chapters++] = chapter;
  }
}

} // namespace vorin::media
