#include "clip_streams.h"

#include "picture_conversion.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <system_error>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

// libavformat also reads text, pictures and playlists.
constexpr const char* kClipFormats =
    "mov,matroska,avi,mpegts,mpeg,mpegvideo,m4v,h264,hevc,ivf,flv,asf,ogg,gif,apng,mxf,nut,dv,rm,"
    "yuv4mpegpipe";

InputHandle openInput(const fs::path& clip) {
  silenceLibav();
  std::error_code error;
  if (!fs::exists(clip, error)) {
    throw fault(clip, "does not exist: check the name");
  }
  if (fs::is_directory(clip, error)) {
    throw fault(clip, "is a folder: name a clip");
  }
  if (!fs::is_regular_file(clip, error)) { // reading could block for ever, without a way to interrupt it
    throw fault(clip, "is not a file: name a clip, or - to read from a pipe");
  }
  AVDictionary* options = nullptr;
  av_dict_set(&options, "format_whitelist", kClipFormats, 0);
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  AVFormatContext* context = nullptr;
  const int status = avformat_open_input(&context, fileUrl(clip.string()).c_str(), nullptr, &options);
  const DictionaryHandle unused_options(options);
  if (status == AVERROR(EACCES)) {
    throw fault(clip, "cannot be opened (" + libavText(status) + "): check its permissions");
  }
  if (status < 0) {
    throw fault(clip, "is not a clip, or is too damaged to be read: use an MP4, MKV, MOV, WebM or AVI file that is whole");
  }
  InputHandle input(context);
  if (avformat_find_stream_info(context, nullptr) < 0) {
    throw fault(clip, "cannot be read as a clip: use another copy of it");
  }
  return input;
}

CodecHandle openDecoder(const fs::path& clip, const AVStream& stream) {
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  const std::string name = avcodec_get_name(stream.codecpar->codec_id);
  if (codec == nullptr) {
    throw fault(clip, "holds video of the kind " + name + ", for which there is no decoder: convert it to H.264 first");
  }
  CodecHandle decoder(avcodec_alloc_context3(codec));
  if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) {
    throw std::bad_alloc();
  }
  decoder->pkt_timebase = stream.time_base;
  decoder->thread_count = 0; // as many as there are processors
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) {
    throw fault(clip, "holds video of the kind " + name + " that cannot be decoded: convert it to H.264 first");
  }
  return decoder;
}

std::optional<std::array<std::int32_t, 9>> rotationOf(const AVStream& stream) {
  std::array<std::int32_t, 9> matrix{};
  std::size_t size = 0;
  const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (data == nullptr || size < sizeof(matrix)) {
    return std::nullopt;
  }
  std::copy_n(data, sizeof(matrix), reinterpret_cast<std::uint8_t*>(matrix.data()));
  return matrix;
}

// The tags with which red, green and blue are written.
ColourTags coloursToWrite(Size size) {
  ColourTags tags;
  tags.matrix = yuvColours(tags, size).matrix;
  tags.range_is_known = true;
  return tags;
}

ColourTags coloursOf(const AVCodecParameters& video, AVPixelFormat format) {
  if ((av_pix_fmt_desc_get(format)->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) {
    return coloursToWrite({video.width, video.height});
  }
  ColourTags tags;
  tags.matrix = video.color_space;
  tags.primaries = video.color_primaries;
  tags.transfer = video.color_trc;
  tags.chroma_position = video.chroma_location;
  tags.range_is_known = video.color_range != AVCOL_RANGE_UNSPECIFIED || impliesFullRange(format);
  tags.full_range = video.color_range == AVCOL_RANGE_JPEG || impliesFullRange(format);
  return tags;
}

std::optional<std::int64_t> framesExpected(const AVFormatContext& context, const AVStream& stream) {
  if (stream.nb_frames > 0) {
    return stream.nb_frames;
  }
  const double rate = stream.avg_frame_rate.den > 0 ? av_q2d(stream.avg_frame_rate) : 0;
  if (context.duration <= 0 || rate <= 0) {
    return std::nullopt;
  }
  return std::max<std::int64_t>(1, std::llround(static_cast<double>(context.duration) / AV_TIME_BASE * rate));
}

SourceInfo infoOf(const fs::path& clip, const SourceStreams& streams) {
  const AVStream& stream = streams.video();
  const AVCodecParameters& video = *stream.codecpar;
  const auto format = static_cast<AVPixelFormat>(video.format);
  if (format == AV_PIX_FMT_NONE || video.width <= 0 || video.height <= 0) {
    throw fault(clip, "holds no picture that can be decoded: use another copy of it");
  }
  SourceInfo info;
  info.name = base::quotedPath(clip);
  info.size = {video.width, video.height};
  info.layout = layoutForFormat(format, info.size);
  detailsOf(info).colours = coloursOf(video, format);
  detailsOf(info).pixel_aspect =
      fromLibav(stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio : video.sample_aspect_ratio);
  info.time_base = fromLibav(stream.time_base);
  info.frame_rate = fromLibav(stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate);
  info.frames_expected = framesExpected(*streams.context, stream);
  detailsOf(info).rotation = rotationOf(stream);
  return info;
}

// ---- Copied streams ----

bool isAttachedPicture(const AVStream& stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

bool isMatroska(const AVOutputFormat& format) {
  return std::string_view(format.name) == "matroska";
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
    return isMatroska(format);
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

OpenClip openClip(const fs::path& clip) {
  auto streams = std::make_shared<SourceStreams>();
  streams->context = openInput(clip);
  streams->video_index = av_find_best_stream(streams->context.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (streams->video_index < 0 || (streams->video().disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    throw fault(clip, "holds no video: name a clip with pictures");
  }
  CodecHandle decoder = openDecoder(clip, streams->video());
  SourceInfo info = infoOf(clip, *streams);
  detailsOf(info).streams = streams;
  return {std::move(streams), std::move(decoder), std::move(info)};
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
    } else if (canHold(*output.oformat, stream)) {
      add(stream, output);
    } else {
      warnings_.push_back("left out, since a file of the kind " + std::string(output.oformat->name) +
                          " cannot hold it: the clip's " + describe(stream) +
                          (isMatroska(*output.oformat) ? "" : "; name the output .mkv to keep all"));
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
    warnings_.push_back("a file of the kind " + kind + " cannot hold the clip's " + describe(stream) + ": it becomes AAC");
  }
}

void CopiedStreams::add(const AVStream& stream, AVFormatContext& output) {
  AVStream& added = addLike(stream, output);
  added.avg_frame_rate = stream.avg_frame_rate;
  added.disposition = stream.disposition;
  av_dict_copy(&added.metadata, stream.metadata, 0);
  copySideData(stream, added);
  targets_[static_cast<std::size_t>(stream.index)] =
      Target{added.index, stream.time_base, isMatroska(*output.oformat) ? lateness(stream) : 0, AV_NOPTS_VALUE};
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
