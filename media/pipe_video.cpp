#include "pipe_video.h"

#include "picture_conversion.h"
#include "pipe_transfer.h"

#include <string_view>
#include <utility>

namespace vorin::media {
namespace {

constexpr std::string_view kInputName = "standard input";
constexpr std::string_view kFrameWord = "FRAME";
constexpr std::size_t kLongestLine_bytes = 4096;

AVPixelFormat formatOf(RawPixels pixels) {
  switch (pixels) {
  case RawPixels::kBgra:
    return AV_PIX_FMT_BGRA;
  case RawPixels::kRgba:
    return AV_PIX_FMT_RGBA;
  case RawPixels::kBgr24:
    return AV_PIX_FMT_BGR24;
  case RawPixels::kNv12:
    return AV_PIX_FMT_NV12;
  case RawPixels::kYuy2:
    return AV_PIX_FMT_YUYV422;
  case RawPixels::kI420:
    break;
  }
  return AV_PIX_FMT_YUV420P;
}

VideoInfo infoOfRaw(const RawFormat& format) {
  VideoInfo info;
  info.name = kInputName;
  info.size = format.size;
  info.layout = layoutForFormat(formatOf(format.pixels), format.size);
  info.colours.matrix = kLibraryColours.matrix;
  info.frame_rate = format.rate;
  info.time_base = {format.rate.den, format.rate.num};
  return info;
}

std::vector<std::uint8_t> bufferFor(AVPixelFormat format, Size size) {
  const int bytes = av_image_get_buffer_size(format, size.width, size.height, 1);
  if (bytes < 0) {
    throw MediaError("frames of " + std::to_string(size.width) + "x" + std::to_string(size.height) +
                     " are too large: use smaller ones");
  }
  return std::vector<std::uint8_t>(static_cast<std::size_t>(bytes));
}

// Copies the pixels as they go through the pipe, without padding, into a frame of libav's.
void copyFromPipe(const std::vector<std::uint8_t>& bytes, AVFrame& frame) {
  std::array<std::uint8_t*, 4> planes{};
  std::array<int, 4> pitches_bytes{};
  const auto format = static_cast<AVPixelFormat>(frame.format);
  av_image_fill_arrays(planes.data(), pitches_bytes.data(), bytes.data(), format, frame.width, frame.height, 1);
  std::array<const std::uint8_t*, 4> source{};
  std::copy(planes.begin(), planes.end(), source.begin());
  av_image_copy(frame.data, frame.linesize, source.data(), pitches_bytes.data(), format, frame.width, frame.height);
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

class PipeReader::Stream {
public:
  Stream(int descriptor, const std::optional<RawFormat>& format, PictureColours picture_colours)
      : pipe_(descriptor), is_y4m_(!format),
        info_(withColours(format ? infoOfRaw(*format) : parseY4mHeader(readLine(), std::string(kInputName)), picture_colours)),
        format_(formatOf(format ? format->pixels : RawPixels::kI420)), bytes_(bufferFor(format_, info_.size)),
        frame_(newFrame(format_, info_.size)),
        to_picture_(info_.layout, info_.size, yuvColours(info_.colours, info_.size), pictureColours(info_)) {}

  const VideoInfo& info() const { return info_; }
  const std::vector<std::string>& damage() const { return damage_; }
  void interrupt() noexcept { pipe_.interrupt(); }

  std::optional<Item> next() {
    if (!readFrame()) {
      return std::nullopt;
    }
    copyFromPipe(bytes_, *frame_);
    VideoFrame frame;
    frame.picture = to_picture_.convert(*frame_);
    frame.time = frames_++;
    frame.duration = 1;
    return frame;
  }

private:
  // Byte by byte: what lies behind the line is not to be read yet. Without its end.
  std::string readLine() {
    std::string line;
    std::uint8_t letter = 0;
    while (line.size() < kLongestLine_bytes && pipe_.read({&letter, 1}) == 1 && letter != '\n') {
      line += static_cast<char>(letter);
    }
    return line;
  }

  bool readFrame() {
    if (is_y4m_) {
      const std::string line = readLine();
      if (pipe_.isInterrupted() || (line.size() < kFrameWord.size() && kFrameWord.starts_with(line))) {
        return noteEnd(line.size());
      }
      if (!line.starts_with(kFrameWord)) {
        damage_.push_back(info_.name + " goes on with something that is no frame of Y4M behind frame " + std::to_string(frames_) +
                          ": what came before was drawn");
        return false;
      }
    }
    const std::size_t read = pipe_.read(bytes_);
    return read == bytes_.size() || noteEnd(is_y4m_ ? kFrameWord.size() + read : read);
  }

  // Of the input, with so many bytes of another frame there. False.
  bool noteEnd(std::size_t bytes_of_frame) {
    if (pipe_.isInterrupted()) {
      return false;
    }
    if (frames_ == 0) {
      throw MediaError(info_.name + " ends before its first frame is complete (" + std::to_string(bytes_of_frame) + " of " +
                       std::to_string(bytes_.size()) + " bytes): check what is connected to it, and its size");
    }
    if (bytes_of_frame > 0) {
      damage_.push_back(info_.name + " ends in the middle of frame " + std::to_string(frames_ + 1) + " (" +
                        std::to_string(bytes_of_frame) + " of " + std::to_string(bytes_.size()) +
                        " bytes): the frames before it were drawn");
    }
    return false;
  }

  PipeEnd pipe_;
  bool is_y4m_;
  VideoInfo info_;
  AVPixelFormat format_;
  std::vector<std::uint8_t> bytes_;
  FrameHandle frame_;
  PictureFromFrame to_picture_;
  std::int64_t frames_ = 0;
  std::vector<std::string> damage_;
};

PipeReader::PipeReader(int descriptor, const std::optional<RawFormat>& format, PictureColours picture_colours)
    : stream_(std::make_unique<Stream>(descriptor, format, picture_colours)) {}
PipeReader::~PipeReader() = default;

const VideoInfo& PipeReader::info() const {
  return stream_->info();
}

std::optional<Item> PipeReader::next() {
  return stream_->next();
}

std::vector<std::string> PipeReader::damage() const {
  return stream_->damage();
}

void PipeReader::interrupt() noexcept {
  stream_->interrupt();
}

class PipeWriter::Stream {
public:
  Stream(int descriptor, const VideoInfo& source, Size size, std::optional<RawPixels> pixels)
      : pipe_(descriptor), size_(size), is_y4m_(!pixels), format_(formatOf(pixels.value_or(RawPixels::kI420))),
        bytes_(bufferFor(format_, size)),
        from_picture_(format_, size, is_y4m_ ? yuvColours(source.colours, size) : kLibraryColours, pictureColours(source)) {
    if (is_y4m_) {
      header_ = y4mHeader(source, size);
    }
  }

  Size size() const { return size_; }
  std::int64_t frames() const { return frames_; }
  void interrupt() noexcept { pipe_.interrupt(); }

  void write(Picture&& picture) {
    const FrameHandle frame = from_picture_.convert(std::move(picture));
    av_image_copy_to_buffer(bytes_.data(), static_cast<int>(bytes_.size()), frame->data, frame->linesize, format_, size_.width,
                            size_.height, 1);
    const bool is_whole = (!is_y4m_ || (writeHeader() && pipe_.write(bytesOf("FRAME\n")))) && pipe_.write(bytes_);
    frames_ += is_whole ? 1 : 0;
  }

  // Before the first frame, or alone where there is none. False when interrupted.
  bool writeHeader() {
    const std::string header = std::exchange(header_, {});
    return pipe_.write(bytesOf(header));
  }

private:
  PipeEnd pipe_;
  Size size_;
  bool is_y4m_;
  AVPixelFormat format_;
  std::string header_; // until it is written
  std::vector<std::uint8_t> bytes_;
  FrameFromPicture from_picture_;
  std::int64_t frames_ = 0; // written as a whole
};

PipeWriter::PipeWriter(int descriptor, const VideoInfo& source, Size size, std::optional<RawPixels> pixels)
    : stream_(std::make_unique<Stream>(descriptor, source, size, pixels)) {}
PipeWriter::~PipeWriter() = default;

Size PipeWriter::size() const {
  return stream_->size();
}

void PipeWriter::write(VideoFrame&& frame) {
  stream_->write(std::move(frame.picture));
}

void PipeWriter::write(StreamPacket&& /*packet*/) {}

void PipeWriter::finish() {
  stream_->writeHeader();
}

std::int64_t PipeWriter::finishEarly() {
  return stream_->frames();
}

void PipeWriter::interrupt() noexcept {
  stream_->interrupt();
}

} // namespace vorin::media
