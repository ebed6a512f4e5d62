#include "clip_streams.h"

#include "picture_conversion.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
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
  av_dict_set(&options, "scan_all_pmts", "1", 0); // in joined broadcasts a stream may begin in any part
  AVFormatContext* context = nullptr;
  const int status = avformat_open_input(&context, fileUrl(clip).c_str(), nullptr, &options);
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

CodecHandle openDecoder(const fs::path& clip, const AVStream& stream, int threads) {
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
  decoder->thread_count = threads;
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

} // namespace

OpenClip openClip(const fs::path& clip, int decoder_threads) {
  auto streams = std::make_shared<SourceStreams>();
  streams->context = openInput(clip);
  streams->video_index = av_find_best_stream(streams->context.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (streams->video_index < 0 || (streams->video().disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    throw fault(clip, "holds no video: name a clip with pictures");
  }
  CodecHandle decoder = openDecoder(clip, streams->video(), decoder_threads);
  SourceInfo info = infoOf(clip, *streams);
  detailsOf(info).streams = streams;
  return {std::move(streams), std::move(decoder), std::move(info)};
}

bool ClipSpan::endsBefore(std::int64_t time, AVRational time_base) const {
  return end && time != AV_NOPTS_VALUE && time >= av_rescale_q(*end, kMicroseconds, time_base);
}

bool ClipSpan::shows(std::int64_t time, std::int64_t duration, std::int64_t usual_duration, AVRational time_base) const {
  const bool is_late = !begin || time + duration > av_rescale_q(*begin, kMicroseconds, time_base) + usual_duration / 2;
  return is_late && !endsBefore(time, time_base);
}

bool ClipSpan::takes(AVPacket& packet, AVRational time_base, bool is_paced) const {
  if (packet.pts == AV_NOPTS_VALUE) {
    return true;
  }
  const std::int64_t first = begin ? av_rescale_q(*begin, kMicroseconds, time_base) : packet.pts;
  const std::int64_t last = end ? av_rescale_q(*end, kMicroseconds, time_base) : std::numeric_limits<std::int64_t>::max();
  if (!is_paced && packet.duration > 0) {
    const std::int64_t packet_end = std::min(packet.pts + packet.duration, last);
    if (packet.pts < first && packet_end > first) {
      packet.pts = packet.dts = first;
    }
    packet.duration = std::max<std::int64_t>(0, packet_end - packet.pts);
  }
  return packet.pts >= first && packet.pts < last;
}

void cutTo(const SourceOptions& options, SourceStreams& streams, SourceInfo& info) {
  AVFormatContext& context = *streams.context;
  const bool may_jump = (context.iformat->flags & AVFMT_TS_DISCONT) != 0; // broadcasts begin at any time
  const std::int64_t stored_zero = context.start_time != AV_NOPTS_VALUE ? context.start_time : 0;
  const std::int64_t zero = may_jump ? stored_zero : std::max<std::int64_t>(0, stored_zero);
  const std::string_view kind = context.iformat->name;
  ClipSpan& span = streams.span;
  if (options.end_s) {
    span.end = zero + std::llround(*options.end_s * AV_TIME_BASE);
  }
  if (options.start_s > 0) {
    span.begin = zero + std::llround(options.start_s * AV_TIME_BASE);
    seekBefore(*span.begin, streams);
  }
  if (context.duration <= 0) {
    return;
  }
  const std::int64_t begin = span.begin.value_or(zero);
  const std::int64_t last = std::min(span.end.value_or(zero + context.duration), zero + context.duration);
  if (begin >= last && kind.starts_with("mov")) { // of joined files of other kinds, the duration is that of a part
    throw nothingIn(info);
  }
  if (info.frames_expected) {
    const double share = static_cast<double>(last - begin) / static_cast<double>(context.duration);
    info.frames_expected = std::max(1LL, std::llround(static_cast<double>(*info.frames_expected) * share));
  }
}

void seekBefore(std::int64_t time, const SourceStreams& streams) {
  constexpr std::int64_t kLead = AV_TIME_BASE; // some indexes count when a frame is decoded, not when it is shown
  const std::string_view kind = streams.context->iformat->name;
  if (kind.starts_with("mov") || kind.starts_with("matroska")) { // others are read from their begin
    static_cast<void>(av_seek_frame(streams.context.get(), streams.video_index,
                                    av_rescale_q(time - kLead, kMicroseconds, streams.video().time_base), AVSEEK_FLAG_BACKWARD));
  }
}

Error nothingIn(const SourceInfo& info) {
  return {ErrorKind::kInputOutput, info.name + " has no frame between --start and --end: choose others"};
}

} // namespace vorin::media
