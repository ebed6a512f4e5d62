// Encodes a clip's sound anew: libavcodec decodes it, libswresample converts the samples, libavcodec encodes them as AAC or Opus.
// Samples are decoded, and silence is made, only when the encoder needs them, so that the silence of an hour takes no memory.
#include "clip_streams.h"

#include <algorithm>
#include <array>
#include <new>

namespace vorin::media {
namespace {

Error unusableSound(const AVStream& source, const std::string& why) {
  return {ErrorKind::kInputOutput, "the clip's sound (" + std::string(avcodec_get_name(source.codecpar->codec_id)) + ") " + why +
                                       ": leave it out with --sound none"};
}

CodecHandle openSoundDecoder(const AVStream& source) {
  const AVCodec* codec = avcodec_find_decoder(source.codecpar->codec_id);
  CodecHandle decoder(avcodec_alloc_context3(codec));
  if (!decoder) {
    throw std::bad_alloc();
  }
  decoder->pkt_timebase = source.time_base;
  if (codec == nullptr || avcodec_parameters_to_context(decoder.get(), source.codecpar) < 0 ||
      avcodec_open2(decoder.get(), codec, nullptr) < 0) {
    throw unusableSound(source, "cannot be decoded");
  }
  return decoder;
}

// At the decoder's rate and with its channels, if the encoder has those. Opus counts 48000 a second whatever it is given.
CodecHandle openEncoder(const AVStream& source, const AVCodecContext& decoder, const AVOutputFormat& format) {
  constexpr int kBitsForAChannel = 80000; // a second
  constexpr int kUsualRate = 48000;
  const bool is_opus = isWebm(format);
  const AVCodec* codec = is_opus ? avcodec_find_encoder_by_name("libopus") : avcodec_find_encoder(AV_CODEC_ID_AAC);
  CodecHandle encoder(avcodec_alloc_context3(codec));
  if (!encoder) {
    throw std::bad_alloc();
  }
  encoder->sample_fmt = is_opus ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_FLTP;
  encoder->sample_rate = kUsualRate;
  for (const int* rate = codec != nullptr ? codec->supported_samplerates : nullptr; !is_opus && rate != nullptr && *rate != 0;
       ++rate) {
    encoder->sample_rate = *rate == decoder.sample_rate ? *rate : encoder->sample_rate;
  }
  av_channel_layout_default(&encoder->ch_layout, decoder.ch_layout.nb_channels);
  encoder->bit_rate = std::int64_t{kBitsForAChannel} * encoder->ch_layout.nb_channels;
  encoder->time_base = {1, encoder->sample_rate};
  encoder->flags |= (format.flags & AVFMT_GLOBALHEADER) != 0 ? AV_CODEC_FLAG_GLOBAL_HEADER : 0;
  if (codec == nullptr || avcodec_open2(encoder.get(), codec, nullptr) < 0) {
    throw unusableSound(source, std::string("cannot be encoded as ") + (is_opus ? "Opus" : "AAC"));
  }
  return encoder;
}

FrameHandle newSamples(const AVCodecContext& encoder, int count) {
  FrameHandle frame = newFrame();
  frame->format = encoder.sample_fmt;
  frame->sample_rate = encoder.sample_rate;
  frame->nb_samples = count;
  if (av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout) < 0 || av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  return frame;
}

void** planesOf(const AVFrame& frame) {
  return reinterpret_cast<void**>(frame.extended_data);
}

} // namespace

SoundEncoder::SoundEncoder(const AVStream& source, AVFormatContext& output)
    : source_time_base_(source.time_base), decoder_(openSoundDecoder(source)),
      encoder_(openEncoder(source, *decoder_, *output.oformat)),
      samples_(av_audio_fifo_alloc(encoder_->sample_fmt, encoder_->ch_layout.nb_channels, encoder_->frame_size)) {
  AVStream* stream = avformat_new_stream(&output, nullptr);
  if (!samples_ || stream == nullptr || avcodec_parameters_from_context(stream->codecpar, encoder_.get()) < 0) {
    throw std::bad_alloc();
  }
  index_ = stream->index;
  lateness_ = latenessIn(*output.oformat, *stream->codecpar, encoder_->time_base);
  stream->time_base = encoder_->time_base;
  stream->disposition = source.disposition;
  av_dict_copy(&stream->metadata, source.metadata, 0);
}

bool SoundEncoder::send(const AVPacket& packet) {
  if (isEmpty(packet)) {
    return true;
  }
  return avcodec_send_packet(decoder_.get(), &packet) >= 0;
}

void SoundEncoder::sendEnd() {
  static_cast<void>(avcodec_send_packet(decoder_.get(), nullptr));
  has_ended_ = true;
}

bool SoundEncoder::receiveSamples() {
  if (decoded_->nb_samples == 0) {
    if (avcodec_receive_frame(decoder_.get(), decoded_.get()) >= 0) {
      prepareResampler(*decoded_);
    } else if (has_ended_ && resampler_) {
      resample(nullptr, 0);
      resampler_.reset();
      return true;
    } else {
      return false;
    }
  }
  const bool has_time = decoded_->best_effort_timestamp != AV_NOPTS_VALUE;
  if (has_time && resampler_has_time_ && silenceBefore(*decoded_) > 1) {
    if (swr_inject_silence(resampler_.get(), decoded_->sample_rate) < 0) {
      throw std::bad_alloc();
    }
    resample(decoded_->extended_data, 0);
    return true;
  }
  if (has_time) {
    swr_next_pts(resampler_.get(), resamplerTime(*decoded_));
    resampler_has_time_ = true;
  }
  resample(decoded_->extended_data, decoded_->nb_samples);
  av_frame_unref(decoded_.get());
  return true;
}

void SoundEncoder::prepareResampler(const AVFrame& frame) {
  const std::array<std::uint64_t, 4> form = {static_cast<std::uint64_t>(frame.format),
                                             static_cast<std::uint64_t>(frame.sample_rate),
                                             static_cast<std::uint64_t>(frame.ch_layout.nb_channels),
                                             frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame.ch_layout.u.mask : 0};
  if (resampler_ && form == resampled_form_) {
    return;
  }
  if (resampler_) { // broadcasts change theirs between programmes
    resample(nullptr, 0);
  }
  resampled_form_ = form;
  resampler_has_time_ = false;
  AVChannelLayout layout = frame.ch_layout;
  if (layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&layout, frame.ch_layout.nb_channels);
  }
  SwrContext* resampler = nullptr;
  const int status = swr_alloc_set_opts2(&resampler, &encoder_->ch_layout, encoder_->sample_fmt, encoder_->sample_rate, &layout,
                                         static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  resampler_.reset(resampler);
  // Silence fills what is missing for longer than this, in seconds.
  if (status < 0 || av_opt_set_double(resampler, "min_comp", 0.1, 0) < 0 ||
      av_opt_set_double(resampler, "min_hard_comp", 0.1, 0) < 0 || swr_init(resampler) < 0) {
    throw std::bad_alloc();
  }
  if (next_time_) {
    return;
  }
  const std::int64_t begin = frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : 0;
  next_time_ = av_rescale_q(begin, source_time_base_, encoder_->time_base);
}

// The resampler counts this many steps a second.
std::int64_t SoundEncoder::resamplerRate(const AVFrame& frame) const {
  return std::int64_t{frame.sample_rate} * encoder_->sample_rate;
}

std::int64_t SoundEncoder::resamplerTime(const AVFrame& frame) const {
  return av_rescale(frame.best_effort_timestamp, resamplerRate(frame) * source_time_base_.num, source_time_base_.den);
}

// In seconds.
double SoundEncoder::silenceBefore(const AVFrame& frame) const {
  const std::int64_t resampled = swr_next_pts(resampler_.get(), INT64_MIN); // only asks
  const std::int64_t waiting = swr_get_delay(resampler_.get(), resamplerRate(frame));
  return static_cast<double>(resamplerTime(frame) - waiting - resampled) / static_cast<double>(resamplerRate(frame));
}

void SoundEncoder::resample(std::uint8_t** planes, int samples) {
  const int most = swr_get_out_samples(resampler_.get(), samples);
  if (most <= 0) {
    return;
  }
  const FrameHandle resampled = newSamples(*encoder_, most);
  const int count =
      swr_convert(resampler_.get(), resampled->extended_data, most, const_cast<const std::uint8_t**>(planes), samples);
  if (count > 0 && av_audio_fifo_write(samples_.get(), planesOf(*resampled), count) < count) {
    throw std::bad_alloc();
  }
}

FrameHandle SoundEncoder::nextFrame() {
  while (av_audio_fifo_size(samples_.get()) < encoder_->frame_size && receiveSamples()) {
  }
  const int count = std::min(av_audio_fifo_size(samples_.get()), encoder_->frame_size);
  if (count == 0 || (count < encoder_->frame_size && !has_ended_)) {
    return nullptr;
  }
  FrameHandle frame = newSamples(*encoder_, count);
  av_audio_fifo_read(samples_.get(), planesOf(*frame), count);
  frame->pts = *next_time_;
  *next_time_ += count;
  return frame;
}

bool SoundEncoder::receive(AVPacket& packet, const AVFormatContext& output) {
  while (true) {
    const int status = avcodec_receive_packet(encoder_.get(), &packet);
    if (status >= 0) {
      packet.stream_index = index_;
      packet.pts += lateness_;
      packet.dts += lateness_;
      av_packet_rescale_ts(&packet, encoder_->time_base, output.streams[index_]->time_base);
      return true;
    }
    const FrameHandle frame = status == AVERROR(EAGAIN) ? nextFrame() : nullptr;
    if (status != AVERROR(EAGAIN) || (!frame && !has_ended_)) {
      return false;
    }
    if (avcodec_send_frame(encoder_.get(), frame.get()) < 0) { // null: the end
      return false;
    }
  }
}

} // namespace vorin::media
