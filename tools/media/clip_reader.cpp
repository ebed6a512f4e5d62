#include "clip_reader.h"

#include "clip_streams.h"
#include "picture_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <system_error>
#include <utility>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

// libavformat also reads text, pictures and playlists.
constexpr const char* kClipFormats =
    "mov,matroska,avi,mpegts,mpeg,mpegvideo,m4v,h264,hevc,ivf,flv,asf,ogg,gif,apng,mxf,nut,dv,rm,"
    "yuv4mpegpipe";

MediaError fault(const fs::path& clip, const std::string& what) {
  return MediaError("'" + clip.string() + "' " + what);
}

InputHandle openInput(const fs::path& clip) {
  silenceLibav();
  std::error_code error;
  if (!fs::exists(clip, error)) {
    throw fault(clip, "does not exist: check the name");
  }
  if (fs::is_directory(clip, error)) {
    throw fault(clip, "is a folder: name a clip");
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

// Of red, green and blue: what they are to be written as.
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

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << seconds << " s";
  return text.str();
}

} // namespace

class ClipReader::Decoder {
public:
  explicit Decoder(const fs::path& clip);

  const VideoInfo& info() const { return info_; }
  std::optional<Item> next();
  std::vector<std::string> damage() const;

private:
  void fillInfo(const fs::path& clip, const AVStream& stream);
  std::optional<VideoFrame> receiveFrame();
  VideoFrame frameFromLibav();
  std::int64_t frameTime() const;
  bool readPacket();
  void decodePacket();
  void shiftToOrigin(AVPacket& packet) const;
  void noteEnd(const AVPacket& packet);

  std::shared_ptr<SourceStreams> streams_ = std::make_shared<SourceStreams>();
  CodecHandle codec_;
  VideoInfo info_;
  std::optional<PictureFromFrame> to_picture_;
  FrameHandle frame_ = newFrame();
  PacketHandle packet_ = newPacket();
  std::int64_t origin_ = 0; // in AV_TIME_BASE: what counts as 0
  std::int64_t usual_duration_ = 1;
  std::int64_t last_time_ = AV_NOPTS_VALUE;
  std::int64_t last_end_ = 0; // of what has been read, in AV_TIME_BASE
  std::int64_t frames_ = 0;
  std::int64_t damaged_packets_ = 0;
  bool is_cut_short_ = false;
  bool all_read_ = false;
};

ClipReader::Decoder::Decoder(const fs::path& clip) {
  streams_->context = openInput(clip);
  AVFormatContext& context = *streams_->context;
  streams_->video_index = av_find_best_stream(&context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (streams_->video_index < 0 || (streams_->video().disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    throw fault(clip, "holds no video: name a clip with pictures");
  }
  codec_ = openDecoder(clip, streams_->video());
  fillInfo(clip, streams_->video());
  // Broadcasts and discs count from anywhere.
  if ((context.iformat->flags & AVFMT_TS_DISCONT) != 0 && context.start_time != AV_NOPTS_VALUE) {
    origin_ = context.start_time;
  }
}

void ClipReader::Decoder::fillInfo(const fs::path& clip, const AVStream& stream) {
  const AVCodecParameters& video = *stream.codecpar;
  const auto format = static_cast<AVPixelFormat>(video.format);
  if (format == AV_PIX_FMT_NONE || video.width <= 0 || video.height <= 0) {
    throw fault(clip, "holds no picture that can be decoded: use another copy of it");
  }
  info_.name = clip.string();
  info_.size = {video.width, video.height};
  info_.layout = layoutForFormat(format, info_.size);
  info_.colours = coloursOf(video, format);
  info_.pixel_aspect = fromLibav(stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio : video.sample_aspect_ratio);
  info_.time_base = fromLibav(stream.time_base);
  const AVRational rate = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
  info_.frame_rate = fromLibav(rate);
  info_.frames_expected = framesExpected(*streams_->context, stream);
  info_.rotation = rotationOf(stream);
  info_.streams = streams_;
  if (rate.num > 0 && rate.den > 0) {
    usual_duration_ = std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(rate), stream.time_base));
  }
  to_picture_.emplace(info_.layout, info_.size, yuvColours(info_.colours, info_.size));
}

std::optional<Item> ClipReader::Decoder::next() {
  while (true) {
    if (std::optional<VideoFrame> frame = receiveFrame()) {
      return frame;
    }
    if (all_read_) {
      if (frames_ == 0) {
        throw MediaError("'" + info_.name + "' holds no picture that can be decoded: use another copy of it");
      }
      return std::nullopt;
    }
    if (!readPacket()) {
      all_read_ = true;
      static_cast<void>(avcodec_send_packet(codec_.get(), nullptr)); // the decoder gives out what it still holds
    } else if (packet_->stream_index == streams_->video_index) {
      decodePacket();
    } else if (packet_->stream_index < static_cast<int>(streams_->context->nb_streams) &&
               isHandedOn(*streams_, packet_->stream_index)) {
      shiftToOrigin(*packet_);
      return StreamPacket{std::make_shared<PacketData>(PacketData{std::exchange(packet_, newPacket())})};
    }
  }
}

bool ClipReader::Decoder::readPacket() {
  av_packet_unref(packet_.get());
  const int status = av_read_frame(streams_->context.get(), packet_.get());
  if (status >= 0) {
    noteEnd(*packet_);
    return true;
  }
  is_cut_short_ = status != AVERROR_EOF;
  return false;
}

void ClipReader::Decoder::noteEnd(const AVPacket& packet) {
  const std::int64_t begin = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (begin != AV_NOPTS_VALUE) {
    const AVRational time_base = streams_->context->streams[packet.stream_index]->time_base;
    last_end_ = std::max(last_end_, av_rescale_q(begin + packet.duration, time_base, AV_TIME_BASE_Q));
  }
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
    is_cut_short_ = true;
  }
}

void ClipReader::Decoder::decodePacket() {
  if (avcodec_send_packet(codec_.get(), packet_.get()) < 0) {
    ++damaged_packets_;
  }
}

std::optional<VideoFrame> ClipReader::Decoder::receiveFrame() {
  while (true) {
    const int status = avcodec_receive_frame(codec_.get(), frame_.get());
    if (status >= 0) {
      return frameFromLibav();
    }
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
      return std::nullopt;
    }
    ++damaged_packets_; // reported late, by one of the decoder's threads; the frames behind it are still to come
  }
}

VideoFrame ClipReader::Decoder::frameFromLibav() {
  VideoFrame frame;
  frame.time = frameTime();
  frame.duration = frame_->pkt_duration > 0 ? frame_->pkt_duration : usual_duration_;
  frame.picture = to_picture_->convert(*frame_);
  last_time_ = frame.time;
  ++frames_;
  av_frame_unref(frame_.get());
  return frame;
}

// Encoders want time to go on; in broken clips it does not.
std::int64_t ClipReader::Decoder::frameTime() const {
  const bool is_first = last_time_ == AV_NOPTS_VALUE;
  if (frame_->best_effort_timestamp == AV_NOPTS_VALUE) {
    return is_first ? 0 : last_time_ + usual_duration_;
  }
  const std::int64_t time = frame_->best_effort_timestamp - av_rescale_q(origin_, AV_TIME_BASE_Q, streams_->video().time_base);
  return is_first ? time : std::max(time, last_time_ + 1);
}

void ClipReader::Decoder::shiftToOrigin(AVPacket& packet) const {
  const std::int64_t shift = av_rescale_q(origin_, AV_TIME_BASE_Q, streams_->context->streams[packet.stream_index]->time_base);
  for (std::int64_t* time : {&packet.pts, &packet.dts}) {
    if (*time != AV_NOPTS_VALUE) {
      *time -= shift;
    }
  }
}

std::vector<std::string> ClipReader::Decoder::damage() const {
  constexpr std::int64_t kUnnoticed = AV_TIME_BASE * 3 / 10; // durations in headers are not exact
  const AVFormatContext& context = *streams_->context;
  std::int64_t start = context.start_time != AV_NOPTS_VALUE ? context.start_time : 0;
  if (std::strncmp(context.iformat->name, "matroska", 8) == 0) {
    start = std::min<std::int64_t>(start, 0); // some programs write where a clip ends, not how long it is
  }
  const std::int64_t read = last_end_ - start;
  const bool misses_much = context.duration > 0 && read + kUnnoticed < context.duration;
  std::vector<std::string> lines;
  if (is_cut_short_ || misses_much) {
    std::string line = "'" + info_.name + "' is cut short or damaged: it was read up to " +
                       secondsText(static_cast<double>(read) / AV_TIME_BASE);
    if (misses_much) {
      line += " of " + secondsText(static_cast<double>(context.duration) / AV_TIME_BASE);
    }
    lines.push_back(line);
  }
  if (damaged_packets_ > 0) {
    lines.push_back("'" + info_.name + "' holds " + std::to_string(damaged_packets_) +
                    " damaged pictures, which were left out or repaired by the decoder");
  }
  return lines;
}

ClipReader::ClipReader(const fs::path& clip) : decoder_(std::make_unique<Decoder>(clip)) {}
ClipReader::~ClipReader() = default;

const VideoInfo& ClipReader::info() const {
  return decoder_->info();
}

std::optional<Item> ClipReader::next() {
  return decoder_->next();
}

std::vector<std::string> ClipReader::damage() const {
  return decoder_->damage();
}

} // namespace vorin::media
