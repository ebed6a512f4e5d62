// Writes the files of a clip's units, and joins them.
//
// An encoder that reorders frames gives packets in the order of decoding. The joined clip needs decode times that increase across
// the borders of units: the packet at place n gets the time of the frame that is shown at place n - delay, which is never later
// than the packet's own frame.
#include "clip_units.h"

#include "clip_file.h"
#include "clip_module.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <variant>
#include <vector>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

class NutSink final : public UnitSink {
public:
  NutSink(const fs::path& file, const fs::path& output, const SourceInfo& source, Size size, const SinkOptions& options,
          std::int64_t warm_up)
      : name_(file), size_(size), to_leave_out_(warm_up), encoder_(source, size, options, formatFor(output, options)),
        time_base_(toLibav(source.time_base)) {
    AVFormatContext* context = nullptr;
    if (avformat_alloc_output_context2(&context, nullptr, "nut", fileUrl(file).c_str()) < 0) {
      throw std::bad_alloc();
    }
    context_.reset(context);
    context->flags |= AVFMT_FLAG_BITEXACT;                    // no random numbers, no version in the file
    context->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED; // decode times, which NUT does not hold, may be negative
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder_.context()) < 0) {
      throw std::bad_alloc();
    }
    if (av_codec_get_tag(context->oformat->codec_tag, stream->codecpar->codec_id) != 0) { // else NUT takes the encoder's
      stream->codecpar->codec_tag = 0;
    }
    stream->time_base = time_base_;
    check(avio_open(&context->pb, context->url, AVIO_FLAG_WRITE));
    check(avformat_write_header(context, nullptr));
  }

  Size size() const override { return size_; }
  int delay() const override { return delay_; }
  std::int64_t lastDuration() const override { return last_duration_; }
  void write(Packet&& /*packet*/) override {}

  void write(Frame&& frame) override {
    if (to_leave_out_ > 0) {
      --to_leave_out_;
      return;
    }
    if (times_.empty()) {
      first_time_ = frame.time;
    }
    frame.time -= first_time_;
    last_duration_ = frame.duration;
    times_.push_back(frame.time);
    encoder_.send(std::move(frame));
    writeEncoded();
  }

  void finish() override {
    encoder_.sendEnd();
    writeEncoded();
    check(av_write_trailer(context_.get()));
    check(avio_closep(&context_->pb));
  }

  std::int64_t finishEarly() override { return 0; } // a unit is whole or worth nothing

private:
  void writeEncoded() {
    while (encoder_.receive(*packet_)) {
      const auto number = std::lower_bound(times_.begin(), times_.end(), packet_->pts) - times_.begin();
      delay_ = std::max(delay_, static_cast<int>(packets_++ - number));
      packet_->stream_index = 0;
      av_packet_rescale_ts(packet_.get(), time_base_, context_->streams[0]->time_base);
      check(av_write_frame(context_.get(), packet_.get()));
    }
  }

  void check(int status) const {
    const int file_status = context_->pb != nullptr ? context_->pb->error : status;
    if (file_status < 0 || status < 0) {
      throw fault(name_, "cannot be written (" + libavText(file_status < 0 ? file_status : status) +
                             "): make room on its disk, and go on");
    }
  }

  fs::path name_;
  Size size_;
  std::int64_t to_leave_out_;
  VideoEncoder encoder_;
  AVRational time_base_;
  OutputHandle context_;
  PacketHandle packet_ = newPacket();
  std::int64_t first_time_ = 0;
  std::vector<std::int64_t> times_; // of the frames, from the first
  std::int64_t last_duration_ = 0;
  std::ptrdiff_t packets_ = 0;
  int delay_ = 0;
};

Error unusable(const fs::path& unit, const std::string& why) {
  return fault(unit, "cannot be joined (" + why + "): remove the file that ends in .ok beside it, and do the unit again");
}

// The packets of all units in order, with times of the whole clip.
class UnitPackets {
public:
  UnitPackets(std::span<const UnitFile> units, AVRational time_base) : units_(units), time_base_(time_base) {
    for (const UnitFile& unit : units) {
      delay_ = std::max(delay_, static_cast<std::ptrdiff_t>(unit.delay));
    }
    open();
  }

  // What a decoder needs before the first packet.
  std::span<const std::uint8_t> header() const { return header_; }

  bool next(AVPacket& packet) {
    while (unit_ < units_.size()) {
      av_packet_unref(&packet);
      if (av_read_frame(input_.get(), &packet) >= 0) {
        giveTimes(packet);
        return true;
      }
      before_.insert(before_.end(), times_.begin(), times_.end());
      before_.erase(before_.begin(), before_.end() - std::min(delay_, std::ssize(before_)));
      if (++unit_ < units_.size()) {
        open();
      }
    }
    return false;
  }

private:
  // Opens the unit and reads when its frames are shown.
  void open() {
    const fs::path& file = units_[unit_].file;
    times_.clear();
    const InputHandle first = inputOf(file);
    const PacketHandle packet = newPacket();
    while (av_read_frame(first.get(), packet.get()) >= 0) {
      times_.push_back(timeOf(*packet, *first));
      av_packet_unref(packet.get());
    }
    if (std::ssize(times_) != units_[unit_].frames) {
      throw unusable(file, "it has " + std::to_string(times_.size()) + " frames");
    }
    std::sort(times_.begin(), times_.end());
    packets_ = 0;
    input_ = inputOf(file);
    const AVCodecParameters& video = *input_->streams[0]->codecpar;
    const std::vector<std::uint8_t> header(video.extradata, video.extradata + video.extradata_size);
    if (unit_ > 0 && header != header_) { // players read it once
      throw unusable(file, "another version of the encoder made it");
    }
    header_ = header;
  }

  static InputHandle inputOf(const fs::path& file) {
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, fileUrl(file).c_str(), av_find_input_format("nut"), nullptr) < 0) {
      throw unusable(file, "it cannot be read");
    }
    InputHandle input(context);
    if (context->nb_streams != 1) {
      throw unusable(file, "it has not one stream");
    }
    return input;
  }

  std::int64_t timeOf(const AVPacket& packet, const AVFormatContext& input) const {
    return av_rescale_q(packet.pts, input.streams[0]->time_base, time_base_) + units_[unit_].first_time;
  }

  std::int64_t endOf(std::ptrdiff_t number) const {
    if (number + 1 < std::ssize(times_)) {
      return times_[static_cast<std::size_t>(number + 1)];
    }
    return unit_ + 1 < units_.size() ? units_[unit_ + 1].first_time : times_.back() + units_[unit_].last_duration;
  }

  // The first packets of a clip get the times of its first frames, shifted to end where the clip begins. Those of a clip that
  // begins with a unit shorter than the delay get times close together.
  std::int64_t decodeTime() {
    const std::ptrdiff_t number = packets_ - delay_; // of the frame that is shown then, in the unit
    if (number >= 0) {
      return times_[static_cast<std::size_t>(number)];
    }
    if (number + std::ssize(before_) >= 0) {
      return before_[static_cast<std::size_t>(number + std::ssize(before_))];
    }
    const std::ptrdiff_t early = -number - std::ssize(before_); // packets before the first one with the time of a frame
    if (unit_ == 0) {
      first_time_ = times_[0];
    }
    if (unit_ == 0 && delay_ < std::ssize(times_)) {
      return times_[static_cast<std::size_t>(packets_)] - times_[static_cast<std::size_t>(delay_)] + first_time_;
    }
    return first_time_ - early;
  }

  void giveTimes(AVPacket& packet) {
    packet.pts = timeOf(packet, *input_);
    packet.dts = decodeTime();
    packet.duration = endOf(std::lower_bound(times_.begin(), times_.end(), packet.pts) - times_.begin()) - packet.pts;
    ++packets_;
  }

  std::span<const UnitFile> units_;
  AVRational time_base_;
  std::ptrdiff_t delay_ = 0;
  std::size_t unit_ = 0;
  InputHandle input_;
  std::vector<std::uint8_t> header_;
  std::vector<std::int64_t> times_;  // of the unit's frames, as they are shown
  std::vector<std::int64_t> before_; // of the last frames of the unit before
  std::ptrdiff_t packets_ = 0;       // of the unit
  std::int64_t first_time_ = 0;
};

bool isDecodedBefore(const AVPacket& frame, AVRational time_base, const AVPacket& other, const SourceInfo& source) {
  const AVRational other_base = detailsOf(source).streams->context->streams[other.stream_index]->time_base;
  const std::int64_t time = other.dts != AV_NOPTS_VALUE ? other.dts : other.pts;
  return time == AV_NOPTS_VALUE || av_compare_ts(frame.dts, time_base, time, other_base) <= 0;
}

} // namespace

std::unique_ptr<UnitSink> clips::openUnitSink(const fs::path& file, const fs::path& output, const SourceInfo& source, Size size,
                                              const SinkOptions& options, std::int64_t warm_up) {
  silenceLibav();
  return std::make_unique<NutSink>(file, output, source, size, options, warm_up);
}

std::optional<ClipSurvey> clips::joinClip(std::unique_ptr<base::TemporaryOutput> temporary, const fs::path& output,
                                          Source& clip_packets, const SourceInfo& info, Size size, const SinkOptions& options,
                                          std::span<const UnitFile> units, const OnFrame& on_frame) {
  silenceLibav();
  const AVRational time_base = toLibav(info.time_base);
  const VideoEncoder encoder(info, size, options, formatFor(output, options)); // for its parameters
  UnitPackets packets(units, time_base);
  ClipFile file(std::move(temporary), output, info, encoder.context(), options, packets.header());
  const PacketHandle packet = newPacket();
  bool has_frame = packets.next(*packet);
  bool has_other = true;
  while (has_frame || has_other) {
    std::optional<Item> other;
    if (has_other) {
      other = clip_packets.next();
      has_other = other.has_value();
    }
    // Frames that are decoded before the packet go first: a muxer keeps what waits for another stream in memory.
    while (has_frame && (!other || isDecodedBefore(*packet, time_base, *std::get<Packet>(*other).data->packet, info))) {
      file.writeVideo(*packet);
      if (!on_frame()) {
        return std::nullopt;
      }
      has_frame = packets.next(*packet);
    }
    if (other) {
      file.write(std::get<Packet>(std::move(*other)));
    }
  }
  file.close();
  ClipSurvey told;
  told.damage = file.damage();
  told.warnings = file.warnings();
  return told;
}

} // namespace vorin::media
