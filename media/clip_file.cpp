#include "clip_file.h"

#include "clip_formats.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <system_error>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

const ContainerRow& containerOf(const fs::path& output) {
  const ContainerRow* row = findContainer(output);
  if (row == nullptr) {
    throw Error(ErrorKind::kUsage, "the output " + base::quotedPath(output) + " has no file extension of a clip: use one of " +
                                       base::joined(clipExtensions()));
  }
  return *row;
}

bool isTurned(const std::array<std::int32_t, 9>& matrix) {
  constexpr std::array<std::int32_t, 9> kUpright = {1 << 16, 0, 0, 0, 1 << 16, 0, 0, 0, 1 << 30};
  return matrix != kUpright;
}

// Copies title and the like, and the chapters as far as the source is taken.
void copyMetadata(const SourceStreams& streams, AVFormatContext& output) {
  const AVFormatContext& source = *streams.context;
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
    const auto inItsTimes = [&](std::int64_t time) { return av_rescale_q(time, kMicroseconds, from.time_base); };
    const std::int64_t begin = inItsTimes(streams.span.begin.value_or(0));
    const std::int64_t first = streams.span.begin ? std::max(from.start, begin) : from.start;
    const std::int64_t last = streams.span.end ? std::min(from.end, inItsTimes(*streams.span.end)) : from.end;
    if (first >= last && streams.span.isCut()) {
      continue;
    }
    auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (chapter == nullptr) {
      throw std::bad_alloc();
    }
    chapter->id = from.id;
    chapter->time_base = from.time_base;
    chapter->start = first - begin;
    chapter->end = last - begin;
    av_dict_copy(&chapter->metadata, from.metadata, 0);
    output.chapters[output.nb_chapters++] = chapter;
  }
}

void requireSoundFits(const SinkOptions& options, const AVOutputFormat& format) {
  if (options.sound == Sound::kAac && isWebm(format)) {
    throw Error(ErrorKind::kUsage, "a .webm file cannot hold AAC: leave out --sound aac, or name the output .mkv");
  }
}

} // namespace

const AVOutputFormat& formatFor(const fs::path& output, const SinkOptions& options) {
  silenceLibav();
  const AVOutputFormat* format = av_guess_format(containerOf(output).format, nullptr, nullptr);
  if (format == nullptr) {
    throw Error(ErrorKind::kUsage,
                "libavformat was built without the container of " + base::quotedPath(output) + ": use another extension");
  }
  requireSoundFits(options, *format);
  return *format;
}

ClipFile::ClipFile(std::unique_ptr<base::TemporaryOutput> file, const fs::path& output, const SourceInfo& source,
                   const AVCodecContext& video, const SinkOptions& options, std::optional<std::span<const std::uint8_t>> header)
    : output_(output), file_(std::move(file)), time_base_(toLibav(source.time_base)) {
  silenceLibav();
  AVFormatContext* context = nullptr;
  if (avformat_alloc_output_context2(&context, nullptr, containerOf(output).format, fileUrl(file_->path()).c_str()) < 0) {
    throw std::bad_alloc();
  }
  context_.reset(context);
  // Matroska can hold the times below 0 at which much sound begins; libav would move all of the clip.
  if (isMatroska(*context_->oformat)) {
    context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
  }
  addVideo(source, video);
  if (header) {
    replaceHeader(*header);
  }
  if (detailsOf(source).streams != nullptr) {
    copied_.emplace(*detailsOf(source).streams, *context_, options.sound);
    copyMetadata(*detailsOf(source).streams, *context_);
    warnings_.insert(warnings_.end(), copied_->warnings().begin(), copied_->warnings().end());
  }
  open();
}

void ClipFile::addVideo(const SourceInfo& source, const AVCodecContext& video) {
  AVStream* stream = avformat_new_stream(context_.get(), nullptr);
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &video) < 0) {
    throw std::bad_alloc();
  }
  stream->time_base = time_base_;
  stream->avg_frame_rate = video.framerate;
  stream->sample_aspect_ratio = video.sample_aspect_ratio;
  if (detailsOf(source).streams != nullptr) {
    const AVStream& original = detailsOf(source).streams->video();
    stream->disposition = original.disposition;
    av_dict_copy(&stream->metadata, original.metadata, 0);
    av_dict_set(&stream->metadata, "encoder", nullptr, 0);
  }
  if (!detailsOf(source).rotation || !isTurned(*detailsOf(source).rotation)) {
    return;
  }
  if (isMatroska(*context_->oformat)) {
    warnings_.emplace_back(
        "the clip is turned by its player, which a .mkv or .webm file cannot say: name the output .mp4 or .mov");
    return;
  }
  std::uint8_t* matrix = av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, sizeof(*detailsOf(source).rotation));
  if (matrix == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(matrix, detailsOf(source).rotation->data(), sizeof(*detailsOf(source).rotation));
}

void ClipFile::replaceHeader(std::span<const std::uint8_t> header) {
  AVCodecParameters& video = *context_->streams[0]->codecpar;
  av_freep(&video.extradata);
  video.extradata_size = 0;
  if (!header.empty()) {
    video.extradata = static_cast<std::uint8_t*>(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (video.extradata == nullptr) {
      throw std::bad_alloc();
    }
    std::copy(header.begin(), header.end(), video.extradata);
    video.extradata_size = static_cast<int>(header.size());
  }
}

void ClipFile::open() {
  int status = avio_open(&context_->pb, context_->url, AVIO_FLAG_WRITE);
  if (status < 0) {
    throw fault(output_, "cannot be written (" + libavText(status) + "): choose another folder");
  }
  check(avformat_write_header(context_.get(), nullptr));
}

void ClipFile::check(int status) const {
  const int file_status = context_->pb != nullptr ? context_->pb->error : status;
  if (file_status < 0) {
    throw fault(output_, "cannot be written (" + libavText(file_status) + "): make room or choose another folder");
  }
  if (status < 0) {
    throw fault(output_, "cannot be made with these streams (" + libavText(status) + "): use --sound aac or none" +
                             (isMatroska(*context_->oformat) ? "" : ", or name the output .mkv"));
  }
}

void ClipFile::writeVideo(AVPacket& packet) {
  packet.stream_index = 0;
  av_packet_rescale_ts(&packet, time_base_, context_->streams[0]->time_base);
  hand(&packet);
}

void ClipFile::write(Packet&& packet) {
  AVPacket& data = *packet.data->packet;
  if (!copied_) {
    return;
  }
  auto& encoders = copied_->soundEncoders();
  if (const auto found = encoders.find(data.stream_index); found != encoders.end()) {
    left_out_ += found->second.send(data) ? 0 : 1;
    writeEncoded(found->second);
  } else if (const auto text = copied_->subtitleEncoders().find(data.stream_index); text != copied_->subtitleEncoders().end()) {
    if (text->second.convert(data, *context_)) {
      hand(&data);
    }
  } else if (copied_->place(data, *context_)) {
    hand(&data);
  }
}

void ClipFile::writeEncoded(SoundEncoder& sound) {
  while (sound.receive(*packet_, *context_)) {
    hand(packet_.get());
  }
}

std::vector<std::string> ClipFile::damage() const {
  if (left_out_ == 0) {
    return {};
  }
  return {base::quotedPath(output_) + " lacks " + std::to_string(left_out_) +
          " damaged packets of the clip's sound or subtitles, which were left out"};
}

bool ClipFile::hand(AVPacket* packet) {
  const int status = av_interleaved_write_frame(context_.get(), packet);
  // The muxer looks into copied packets, also into one that has waited for this one. Those of the encoders are sound.
  const bool is_damaged = status < 0 && status != AVERROR(ENOMEM) && context_->pb->error >= 0;
  if (is_damaged && copied_) {
    ++left_out_;
  } else {
    check(status);
  }
  return status >= 0;
}

void ClipFile::close() {
  if (copied_) {
    for (auto& [index, sound] : copied_->soundEncoders()) {
      sound.sendEnd();
      writeEncoded(sound);
    }
  }
  // Packets that wait are written first, since the trailer ends at the first one that is damaged.
  constexpr int kMostPackets = 10000;
  for (int i = 0; i < kMostPackets && !hand(nullptr); ++i) {
  }
  check(av_write_trailer(context_.get()));
  check(avio_closep(&context_->pb));
  file_->commit();
}

} // namespace vorin::media
