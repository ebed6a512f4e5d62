// Reads and writes raw and Y4M pipes. Makes no temporary files and buffers no more than one frame.
//
// Raw NV12 and YUY2 are video-range BT.601, as the styles reckon: nothing in the pipe could say otherwise. Y4M counts as what
// players take it for. A pipe transfers bytes in any portion, and waiting for its other end can be interrupted.
#include "clip_formats.h"
#include "clip_module.h"
#include "picture_conversion.h"
#include "sources_and_sinks.h"
#include "terminal.h"

#include <algorithm>
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

SourceInfo infoOfRaw(const RawFormat& format) {
  SourceInfo info;
  info.name = kInputName;
  info.size = format.size;
  info.layout = layoutForFormat(formatOf(format.pixels), format.size);
  detailsOf(info).colours.matrix = kLibraryColours.matrix;
  info.frame_rate = format.rate;
  info.time_base = {format.rate.den, format.rate.num};
  return info;
}

std::vector<std::uint8_t> bufferFor(AVPixelFormat format, Size size) {
  const int bytes = av_image_get_buffer_size(format, size.width, size.height, 1);
  if (bytes < 0) {
    throw Error(ErrorKind::kInputOutput, "frames of " + std::to_string(size.width) + "x" + std::to_string(size.height) +
                                             " are too large: use smaller ones");
  }
  return std::vector<std::uint8_t>(static_cast<std::size_t>(bytes));
}

// Copies pixels from the pipe's layout, which has no padding, into a frame of libav.
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

// Bytes in portions as they come, until interrupted.
class PipeEnd {
public:
  // The caller keeps the ownership of the descriptor. begin: what was read from it before.
  explicit PipeEnd(int descriptor, std::vector<std::uint8_t>&& begin = {}) : descriptor_(descriptor), begin_(std::move(begin)) {}

  // Returns the number of bytes read, which is less than asked for only at the end of the input and when interrupted.
  std::size_t read(std::span<std::uint8_t> bytes);

  // False when interrupted.
  bool write(std::span<const std::uint8_t> bytes) const { return base::writeOutput(descriptor_, bytes, interrupted_); }

  void interrupt() noexcept { interrupted_ = true; }
  bool isInterrupted() const { return interrupted_; }

private:
  int descriptor_;
  std::vector<std::uint8_t> begin_; // of what is read next
  std::atomic<bool> interrupted_ = false;
};

std::size_t PipeEnd::read(std::span<std::uint8_t> bytes) {
  std::size_t done = std::min(bytes.size(), begin_.size());
  const auto end = begin_.begin() + static_cast<std::ptrdiff_t>(done);
  std::copy(begin_.begin(), end, bytes.begin());
  begin_.erase(begin_.begin(), end);
  for (std::size_t portion = 1; portion != 0 && done < bytes.size(); done += portion) {
    portion = base::readInput(descriptor_, bytes.subspan(done), interrupted_);
  }
  return done;
}

class PipeSource final : public Source {
public:
  PipeSource(int descriptor, const std::optional<RawFormat>& format, bool exact_colours, std::vector<std::uint8_t>&& begin)
      : pipe_(descriptor, std::move(begin)), is_y4m_(!format),
        info_(withColours(format ? infoOfRaw(*format) : parseY4mHeader(readLine(), std::string(kInputName)), exact_colours)),
        format_(formatOf(format ? format->pixels : RawPixels::kI420)), bytes_(bufferFor(format_, info_.size)),
        frame_(newFrame(format_, info_.size)),
        to_picture_(info_.layout, info_.size, yuvColours(detailsOf(info_).colours, info_.size), pictureColours(info_)) {}

  const SourceInfo& info() const override { return info_; }
  std::vector<std::string> damage() const override { return damage_; }
  void interrupt() noexcept override { pipe_.interrupt(); }

  std::optional<Item> next() override {
    if (!readFrame()) {
      return std::nullopt;
    }
    copyFromPipe(bytes_, *frame_);
    Frame frame;
    frame.picture = to_picture_.convert(*frame_);
    frame.time = frames_++;
    frame.duration = 1;
    return frame;
  }

private:
  // Reads a line and drops its line break. Byte by byte, so that nothing after the line is consumed.
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
      if (!line.starts_with(kFrameWord) && frames_ == 0) {
        throw Error(ErrorKind::kInputOutput, info_.name + " holds no Y4M frame behind its header: check what is connected to it");
      }
      if (!line.starts_with(kFrameWord)) {
        damage_.push_back(info_.name + " continues after frame " + std::to_string(frames_) +
                          " with data that is not a Y4M frame: the frames before it were restyled");
        return false;
      }
    }
    const std::size_t read = pipe_.read(bytes_);
    return read == bytes_.size() || noteEnd(is_y4m_ ? kFrameWord.size() + read : read);
  }

  // Handles the end of the input after so many bytes of a frame. Throws if no frame was complete, else returns false.
  bool noteEnd(std::size_t bytes_of_frame) {
    if (pipe_.isInterrupted()) {
      return false;
    }
    if (frames_ == 0) {
      throw Error(ErrorKind::kInputOutput, info_.name + " ends before its first frame is complete (" +
                                               std::to_string(bytes_of_frame) + " of " + std::to_string(bytes_.size()) +
                                               " bytes): check what is connected to it, and its size");
    }
    if (bytes_of_frame > 0) {
      damage_.push_back(info_.name + " ends in the middle of frame " + std::to_string(frames_ + 1) + " (" +
                        std::to_string(bytes_of_frame) + " of " + std::to_string(bytes_.size()) +
                        " bytes): the frames before it were restyled");
    }
    return false;
  }

  PipeEnd pipe_;
  bool is_y4m_;
  SourceInfo info_;
  AVPixelFormat format_;
  std::vector<std::uint8_t> bytes_;
  FrameHandle frame_;
  PictureFromFrame to_picture_;
  std::int64_t frames_ = 0;
  std::vector<std::string> damage_;
};

class PipeSink final : public Sink {
public:
  PipeSink(int descriptor, const SourceInfo& source, Size size, std::optional<RawPixels> pixels)
      : pipe_(descriptor), size_(size), is_y4m_(!pixels), format_(formatOf(pixels.value_or(RawPixels::kI420))),
        bytes_(bufferFor(format_, size)),
        from_picture_(format_, size, is_y4m_ ? yuvColours(detailsOf(source).colours, size) : kLibraryColours,
                      pictureColours(source)) {
    if (is_y4m_) {
      header_ = y4mHeader(source, size);
    }
  }

  Size size() const override { return size_; }
  void interrupt() noexcept override { pipe_.interrupt(); }
  void finish() override { writeHeader(); }
  std::int64_t finishEarly() override { return frames_; }
  void write(Packet&& /*packet*/) override {} // a pipe carries no sound

  void write(Frame&& written) override {
    const FrameHandle frame = from_picture_.convert(std::move(written.picture));
    av_image_copy_to_buffer(bytes_.data(), static_cast<int>(bytes_.size()), frame->data, frame->linesize, format_, size_.width,
                            size_.height, 1);
    const bool is_whole = (!is_y4m_ || (writeHeader() && pipe_.write(bytesOf("FRAME\n")))) && pipe_.write(bytes_);
    frames_ += is_whole ? 1 : 0;
  }

private:
  // Writes the header once: before the first frame, or at the end if there is no frame. False when interrupted.
  bool writeHeader() {
    const std::string header = std::exchange(header_, {});
    return pipe_.write(bytesOf(header));
  }

  PipeEnd pipe_;
  Size size_;
  bool is_y4m_;
  AVPixelFormat format_;
  std::string header_; // until it is written
  std::vector<std::uint8_t> bytes_;
  FrameFromPicture from_picture_;
  std::int64_t frames_ = 0; // written completely
};

std::optional<RawFormat> formatOf(const std::string& raw) {
  return raw.empty() ? std::nullopt : std::optional(parseRawFormat(raw));
}

} // namespace

std::unique_ptr<Source> clips::openPipeSource(int descriptor, const SourceOptions& options, std::vector<std::uint8_t>&& begin) {
  return std::make_unique<PipeSource>(descriptor, formatOf(options.raw), options.exact_colours, std::move(begin));
}

std::unique_ptr<Sink> clips::openPipeSink(int descriptor, const SourceInfo& source, Size size, const std::string& raw) {
  const std::optional<RawFormat> format = formatOf(raw);
  return std::make_unique<PipeSink>(descriptor, source, size, format ? std::optional(format->pixels) : std::nullopt);
}

} // namespace vorin::media
