#include "clip_clocks.h"

#include <algorithm>

namespace vorin::media {

bool ClipClocks::isPaced(int stream_index) const {
  return stream_index == video_index_ || context_.streams[stream_index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

std::optional<std::int64_t> ClipClocks::take(AVPacket& packet) {
  const std::optional<std::int64_t> begin = continueTimes(packet);
  noteEnd(packet);
  return begin;
}

// In joined files and on discs, times start again or leap to others: what follows is a new part, which begins where the last one
// ended. The first stream to reach it decides by how much its times are shifted, so sound and pictures stay together. A stream
// may have its first packet in any part, as where a clip with sound is joined to one without.
std::optional<std::int64_t> ClipClocks::continueTimes(AVPacket& packet) {
  std::optional<std::int64_t> begin;
  // Within a part, decode times never run backwards; but where the file holds none, libav only guesses them.
  const bool may_jump = (context_.iformat->flags & AVFMT_TS_DISCONT) != 0;
  const std::int64_t disorder =
      may_jump ? AV_TIME_BASE / 10
               : AV_TIME_BASE + 16 * av_rescale_q(usual_duration_, context_.streams[video_index_]->time_base, kMicroseconds);
  const std::int64_t longest_gap = AV_TIME_BASE * std::int64_t{may_jump ? 10 : 3600};
  const std::int64_t longest_delay = AV_TIME_BASE * std::int64_t{may_jump ? 3 : 3600}; // of sound behind pictures in the file
  const AVRational time_base = context_.streams[packet.stream_index]->time_base;
  const auto inFileTimes = [&](std::int64_t time) { return av_rescale_q(time, time_base, kMicroseconds); };
  clocks_.resize(context_.nb_streams); // streams may begin later
  Clock& clock = clocks_[static_cast<std::size_t>(packet.stream_index)];
  const std::int64_t stored = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
  if (!isPaced(packet.stream_index)) {
    clock.shift = shift_;
  } else if (stored != AV_NOPTS_VALUE) {
    const std::int64_t time = inFileTimes(stored);
    if (!clock.last_decode_time) {
      clock.part = part_;
      clock.shift = shift_;
    }
    const bool starts_again =
        clock.last_decode_time ? time + disorder < *clock.last_decode_time : time + clock.shift + longest_delay < paced_end_;
    const bool leaps = paced_end_ > 0 && time + clock.shift > paced_end_ + longest_gap;
    if ((starts_again || leaps) && clock.part == part_) {
      ++part_;
      shift_ = paced_end_ - inFileTimes(packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts);
      begin = paced_end_;
    }
    if (starts_again || leaps) {
      clock.part = part_;
      clock.shift = shift_;
    }
    clock.last_decode_time = time;
  }
  const std::int64_t shift = av_rescale_q(clock.shift, kMicroseconds, time_base);
  for (std::int64_t* time : {&packet.pts, &packet.dts}) {
    *time += *time != AV_NOPTS_VALUE ? shift : 0;
  }
  return begin;
}

void ClipClocks::noteEnd(const AVPacket& packet) {
  const std::int64_t begin = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (begin != AV_NOPTS_VALUE) {
    const AVRational time_base = context_.streams[packet.stream_index]->time_base;
    const bool lasts_usual = packet.duration <= 0 && packet.stream_index == video_index_;
    const std::int64_t end = av_rescale_q(begin + (lasts_usual ? usual_duration_ : packet.duration), time_base, kMicroseconds);
    last_end_ = std::max(last_end_, end);
    if (isPaced(packet.stream_index)) {
      paced_end_ = std::max(paced_end_, end);
    }
  }
}

} // namespace vorin::media
