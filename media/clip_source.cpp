// Reads a clip: libavformat demultiplexes it, libavcodec decodes it.
//
// Only kinds of files that hold moving pictures are opened, and only the file itself is read: a playlist that names other files
// or addresses is not a clip. A clip that is cut short or damaged delivers what can be read, and says so by damage().
#include "clip_clocks.h"
#include "clip_module.h"
#include "clip_streams.h"
#include "clip_units.h"
#include "picture_conversion.h"
#include "sources_and_sinks.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iomanip>
#include <limits>
#include <set>
#include <sstream>
#include <utility>

namespace vorin::media {
namespace {

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << seconds << " s";
  return text.str();
}

// What of a clip is delivered.
enum class Delivery { kAll, kPart, kAllButFrames };

class ClipSource final : public Source {
public:
  ClipSource(OpenClip clip, const SourceOptions& options, Delivery delivery = Delivery::kAll);

  // Limits the frames to those of a part. To be called before the first one is read.
  void limitTo(const ClipPart& part, bool without_seeking);

  const SourceInfo& info() const override { return info_; }
  std::optional<Item> next() override;
  std::vector<std::string> damage() const override;
  std::vector<std::string> warnings() const override { return warnings_; }
  void interrupt() noexcept override { is_interrupted_ = true; }

private:
  AVRational timeBaseOf(int stream_index) const { return streams_->context->streams[stream_index]->time_base; }
  std::int64_t durationOf(const AVFrame& frame) const { return frame.pkt_duration > 0 ? frame.pkt_duration : usual_duration_; }
  bool isPastEnd(const AVPacket& packet);
  bool isTaken(AVPacket& packet) const;
  std::optional<Frame> receiveFrame();
  Frame frameFromLibav();
  std::int64_t frameTime() const;
  std::int64_t deliveredTime() const;
  bool readPacket();
  void decodePacket();
  void shiftToOrigin(AVPacket& packet) const;

  std::shared_ptr<SourceStreams> streams_;
  CodecHandle codec_;
  SourceInfo info_;
  PictureFromFrame to_picture_;
  FrameHandle frame_ = newFrame();
  PacketHandle packet_ = newPacket();
  std::int64_t zero_ = 0;   // in AV_TIME_BASE: the time that counts as 0
  std::int64_t origin_ = 0; // the same in what is delivered
  std::int64_t usual_duration_ = 1;
  std::int64_t last_time_ = AV_NOPTS_VALUE;
  ClipClocks clocks_;
  std::set<int> streams_past_end_;
  std::vector<std::string> warnings_;
  Delivery delivery_;
  std::atomic<bool> is_interrupted_ = false;
  std::int64_t first_wanted_ = std::numeric_limits<std::int64_t>::min(); // time of a frame, as delivered
  std::int64_t frames_wanted_ = std::numeric_limits<std::int64_t>::max();
  std::int64_t frames_ = 0;
  std::int64_t damaged_packets_ = 0;
  bool is_cut_short_ = false;
  bool all_read_ = false;
};

ClipSource::ClipSource(OpenClip clip, const SourceOptions& options, Delivery delivery)
    : streams_(std::move(clip.streams)), codec_(std::move(clip.decoder)),
      info_(withColours(std::move(clip.info), options.exact_colours)),
      to_picture_(info_.layout, info_.size, yuvColours(detailsOf(info_).colours, info_.size), pictureColours(info_)),
      clocks_(*streams_->context, streams_->video_index), delivery_(delivery) {
  if (info_.frame_rate.num > 0 && info_.frame_rate.den > 0) {
    usual_duration_ =
        std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(toLibav(info_.frame_rate)), streams_->video().time_base));
  }
  clocks_.setUsualDuration(usual_duration_);
  // Time stamps of broadcasts and discs begin anywhere.
  const AVFormatContext& context = *streams_->context;
  if ((context.iformat->flags & AVFMT_TS_DISCONT) != 0 && context.start_time != AV_NOPTS_VALUE) {
    origin_ = context.start_time;
  }
  zero_ = origin_;
  cutTo(options, *streams_, info_);
  origin_ = streams_->span.begin.value_or(origin_);
  if (delivery_ == Delivery::kAllButFrames) {
    streams_past_end_.insert(streams_->video_index);
  }
}

void ClipSource::limitTo(const ClipPart& part, bool without_seeking) {
  first_wanted_ = part.begin_time;
  frames_wanted_ = part.warm_up + part.frames;
  if (part.first > part.warm_up && !without_seeking) {
    seekBefore(origin_ + av_rescale_q(part.begin_time, streams_->video().time_base, kMicroseconds), *streams_);
  }
}

// Whether nothing that is taken follows. Streams are not stored in strict order, and packets of pictures not in that of their
// frames, so a frame tells when those end.
bool ClipSource::isPastEnd(const AVPacket& packet) {
  constexpr std::int64_t kFarthest = 10 * std::int64_t{AV_TIME_BASE};
  const std::int64_t stored = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
  const AVRational time_base = timeBaseOf(packet.stream_index);
  if (!clocks_.isPaced(packet.stream_index) || !streams_->span.endsBefore(stored, time_base)) {
    return false;
  }
  if (packet.stream_index != streams_->video_index) {
    streams_past_end_.insert(packet.stream_index);
  }
  int paced = 0;
  for (int index = 0; index < static_cast<int>(streams_->context->nb_streams); ++index) {
    paced += clocks_.isPaced(index) ? 1 : 0;
  }
  return static_cast<int>(streams_past_end_.size()) == paced ||
         av_rescale_q(stored, time_base, kMicroseconds) >= *streams_->span.end + kFarthest;
}

std::optional<Item> ClipSource::next() {
  while (true) {
    if (frames_ == frames_wanted_ || is_interrupted_) {
      return std::nullopt;
    }
    if (std::optional<Frame> frame = receiveFrame()) {
      return frame;
    }
    if (all_read_) {
      if (frames_ == 0 && delivery_ != Delivery::kAllButFrames) {
        throw streams_->span.isCut()
            ? nothingIn(info_)
            : Error(ErrorKind::kInputOutput, info_.name + " holds no picture that can be decoded: use another copy of it");
      }
      return std::nullopt;
    }
    if (!readPacket()) {
      all_read_ = true;
      static_cast<void>(avcodec_send_packet(codec_.get(), nullptr)); // makes the decoder deliver the frames that it still holds
    } else if (packet_->stream_index == streams_->video_index) {
      decodePacket();
    } else if (delivery_ != Delivery::kPart && packet_->stream_index < static_cast<int>(streams_->context->nb_streams) &&
               isCopied(*streams_, packet_->stream_index) && isTaken(*packet_)) {
      shiftToOrigin(*packet_);
      return Packet{std::make_shared<PacketData>(PacketData{std::exchange(packet_, newPacket())})};
    }
  }
}

bool ClipSource::readPacket() {
  av_packet_unref(packet_.get());
  const int status = av_read_frame(streams_->context.get(), packet_.get());
  if (status >= 0) {
    if (const std::optional<std::int64_t> begin = clocks_.take(*packet_)) {
      warnings_.push_back(info_.name + " has time stamps that start again or leap: at " +
                          secondsText(static_cast<double>(*begin - zero_) / AV_TIME_BASE) + " it goes on without a gap");
    }
    is_cut_short_ = is_cut_short_ || (packet_->flags & AV_PKT_FLAG_CORRUPT) != 0;
    return !isPastEnd(*packet_);
  }
  is_cut_short_ = status != AVERROR_EOF;
  return false;
}

void ClipSource::decodePacket() {
  if (delivery_ != Delivery::kAllButFrames && !isEmpty(*packet_) && avcodec_send_packet(codec_.get(), packet_.get()) < 0) {
    ++damaged_packets_;
  }
}

std::optional<Frame> ClipSource::receiveFrame() {
  while (true) {
    const int status = avcodec_receive_frame(codec_.get(), frame_.get());
    if (status >= 0) {
      damaged_packets_ += frame_->decode_error_flags != 0 ? 1 : 0; // the decoder has made up what is missing
      last_time_ = frameTime();
      const AVRational time_base = streams_->video().time_base;
      if (streams_->span.shows(last_time_, durationOf(*frame_), usual_duration_, time_base) && deliveredTime() >= first_wanted_) {
        return frameFromLibav();
      }
      if (streams_->span.endsBefore(last_time_, time_base)) {
        streams_past_end_.insert(streams_->video_index);
      }
      av_frame_unref(frame_.get());
      continue;
    }
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
      return std::nullopt;
    }
    ++damaged_packets_; // reported late, by one of the decoder's threads; the frames behind it are still to come
  }
}

Frame ClipSource::frameFromLibav() {
  const auto inItsTimes = [&](std::int64_t time) { return av_rescale_q(time, kMicroseconds, streams_->video().time_base); };
  Frame frame;
  frame.time = deliveredTime();
  frame.duration = durationOf(*frame_);
  if (streams_->span.end) {
    frame.duration = std::min(frame.duration, std::max<std::int64_t>(1, inItsTimes(*streams_->span.end - origin_) - frame.time));
  }
  frame.picture = to_picture_.convert(*frame_);
  ++frames_;
  av_frame_unref(frame_.get());
  return frame;
}

// Of the present frame. One that a span cuts begins with the span.
std::int64_t ClipSource::deliveredTime() const {
  const std::int64_t time = last_time_ - av_rescale_q(origin_, kMicroseconds, streams_->video().time_base);
  return streams_->span.begin ? std::max<std::int64_t>(time, 0) : time;
}

// As the file counts. Makes times increase, as encoders need; in broken clips they do not.
std::int64_t ClipSource::frameTime() const {
  const bool is_first = last_time_ == AV_NOPTS_VALUE;
  if (frame_->best_effort_timestamp == AV_NOPTS_VALUE) {
    return is_first ? av_rescale_q(zero_, kMicroseconds, streams_->video().time_base) : last_time_ + usual_duration_;
  }
  return is_first ? frame_->best_effort_timestamp : std::max(frame_->best_effort_timestamp, last_time_ + 1);
}

// A cover has no time. It is taken with any part of the clip.
bool ClipSource::isTaken(AVPacket& packet) const {
  const AVRational time_base = timeBaseOf(packet.stream_index);
  if (streams_->span.begin && (streams_->context->streams[packet.stream_index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    packet.pts = packet.dts = av_rescale_q(*streams_->span.begin, kMicroseconds, time_base);
  }
  return streams_->span.takes(packet, time_base, clocks_.isPaced(packet.stream_index));
}

void ClipSource::shiftToOrigin(AVPacket& packet) const {
  const std::int64_t shift = av_rescale_q(origin_, kMicroseconds, timeBaseOf(packet.stream_index));
  for (std::int64_t* time : {&packet.pts, &packet.dts}) {
    if (*time != AV_NOPTS_VALUE) {
      *time -= shift;
    }
  }
}

std::vector<std::string> ClipSource::damage() const {
  constexpr std::int64_t kUnnoticed = AV_TIME_BASE * 3 / 10; // durations in headers are not exact
  const AVFormatContext& context = *streams_->context;
  std::int64_t start = context.start_time != AV_NOPTS_VALUE ? context.start_time : 0;
  if (std::strncmp(context.iformat->name, "matroska", 8) == 0) {
    start = std::min<std::int64_t>(start, 0); // some programs write where a clip ends, not how long it is
  }
  const std::int64_t read = clocks_.end() - start;
  const std::int64_t wanted = streams_->span.end ? std::min(context.duration, *streams_->span.end - start) : context.duration;
  const bool misses_much = context.duration > 0 && read + kUnnoticed < wanted;
  std::vector<std::string> lines;
  if (is_cut_short_ || misses_much) {
    std::string line =
        info_.name + " is cut short or damaged: it was read up to " + secondsText(static_cast<double>(read) / AV_TIME_BASE);
    if (misses_much) {
      line += " of " + secondsText(static_cast<double>(context.duration) / AV_TIME_BASE);
    }
    lines.push_back(line);
  }
  if (damaged_packets_ > 0) {
    lines.push_back(info_.name + " holds " + std::to_string(damaged_packets_) +
                    " damaged pictures, which were left out or repaired by the decoder");
  }
  return lines;
}

} // namespace

std::unique_ptr<Source> clips::openClipSource(const std::filesystem::path& clip, const SourceOptions& options) {
  return std::make_unique<ClipSource>(openClip(clip, options.decoder_threads), options);
}

std::unique_ptr<Source> clips::openClipPart(const std::filesystem::path& clip, const SourceOptions& options, const ClipPart& part,
                                            bool without_seeking) {
  auto source = std::make_unique<ClipSource>(openClip(clip, options.decoder_threads), options, Delivery::kPart);
  source->limitTo(part, without_seeking);
  return source;
}

std::unique_ptr<Source> clips::openClipPackets(const std::filesystem::path& clip, const SourceOptions& options) {
  return std::make_unique<ClipSource>(openClip(clip, options.decoder_threads), options, Delivery::kAllButFrames);
}

} // namespace vorin::media
