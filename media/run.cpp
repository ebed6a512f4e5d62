// Chooses the kind of source or sink that a name stands for.
//
// Moves frames from the source through the effects to the sink, each on a thread of its own. However long the clip is, only a few
// frames wait between them.
#include "sources_and_sinks.h"
#include "terminal.h"
#include "text.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace vorin::media {
namespace {

// Hands items from one thread to another, with a limit on the bytes that wait in it.
//
// Either side may end it: close() after the last item, abort() when the rest is no longer wanted. An item larger than the limit
// passes when it is alone. Waiting for room polls a cancellation flag, since the signal handler that sets the flag cannot wake a
// waiting thread.
template <typename Value> class BoundedQueue {
public:
  BoundedQueue(std::size_t capacity_bytes, const std::atomic<bool>& cancelled)
      : capacity_bytes_(capacity_bytes), cancelled_(cancelled) {}

  // False when the other side has aborted; the item is lost then.
  bool push(Value&& value, std::size_t bytes) {
    std::unique_lock lock(mutex_);
    waitFor(lock, [&] { return cancelled_ || waiting_bytes_ == 0 || waiting_bytes_ + bytes <= capacity_bytes_; });
    if (aborted_ || cancelled_) {
      return false;
    }
    waiting_bytes_ += bytes;
    items_.emplace_back(std::move(value), bytes);
    changed_.notify_all();
    return true;
  }

  // Nothing at the end, and after an abort.
  std::optional<Value> pop() {
    return popWhen([] { return false; });
  }

  // Nothing after a cancellation either.
  std::optional<Value> popUnlessCancelled() {
    return popWhen([this] { return cancelled_.load(); });
  }

  void close() { set(closed_); }
  void abort() { set(aborted_); }

private:
  void set(bool& flag) {
    const std::scoped_lock lock(mutex_);
    flag = true;
    changed_.notify_all();
  }

  template <typename Stop> std::optional<Value> popWhen(const Stop& stop) {
    std::unique_lock lock(mutex_);
    waitFor(lock, [&] { return !items_.empty() || closed_ || stop(); });
    if (aborted_ || items_.empty() || stop()) {
      return std::nullopt;
    }
    std::optional<Value> value(std::move(items_.front().first));
    waiting_bytes_ -= items_.front().second;
    items_.pop_front();
    changed_.notify_all();
    return value;
  }

  template <typename Condition> void waitFor(std::unique_lock<std::mutex>& lock, const Condition& condition) {
    constexpr std::chrono::milliseconds kLook(20);
    while (!condition() && !aborted_) {
      changed_.wait_for(lock, kLook);
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<Value, std::size_t>> items_;
  std::size_t waiting_bytes_ = 0;
  std::size_t capacity_bytes_;
  const std::atomic<bool>& cancelled_;
  bool closed_ = false;
  bool aborted_ = false;
};

constexpr std::size_t kFramesThatWait = 4;
constexpr std::size_t kBytesOfPacket = 4096; // an estimate: packets hold no pixels

std::size_t bytesOf(const Item& item) {
  const auto* frame = std::get_if<Frame>(&item);
  return frame == nullptr ? kBytesOfPacket : frame->picture.byteCount();
}

std::size_t capacityFor(PixelLayout layout, Size size) {
  const auto pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  return kFramesThatWait * ((layout == PixelLayout::kNv12 ? pixels / 2 * 3 : pixels * 4) + kBytesOfPacket);
}

// The reading thread, the writing thread, and their queues to and from the caller. The destructor ends both threads.
class Threads {
public:
  Threads(Source& source, Sink& sink, const std::atomic<bool>& cancelled)
      : source_(source), sink_(sink), read_(capacityFor(source.info().layout, source.info().size), cancelled),
        restyled_(capacityFor(layoutFor(source.info().layout, sink.size()), sink.size()), cancelled), cancelled_(cancelled),
        reader_([this] { readAhead(); }) {
    try {
      writer_ = std::async(std::launch::async, [this] { writeBehind(); });
    } catch (const std::system_error&) { // the system starts no thread
      read_.abort();
      source_.interrupt();
      reader_.join();
      throw;
    }
  }

  ~Threads() {
    read_.abort();
    restyled_.abort();
    source_.interrupt();
    sink_.interrupt();
    if (reader_.joinable()) {
      reader_.join();
    }
    writer_.wait();
  }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  // Returns nothing at the end of the source and when cancelled.
  std::optional<Item> next() { return read_.popUnlessCancelled(); }

  // Returns false when the sink has failed or the work is cancelled.
  bool write(Item&& item) {
    const std::size_t bytes = bytesOf(item);
    return restyled_.push(std::move(item), bytes);
  }

  // Waits until all is written. After a cancellation, frames that the effects have finished are still written as long as that
  // takes no noticeable time; frames that were only read are dropped.
  void join() {
    constexpr std::chrono::milliseconds kPatience(100);
    restyled_.close();
    waitForWriter([this] { return cancelled_.load(); });
    if (cancelled_) {
      source_.interrupt();
      sink_.interrupt();
      const auto start = std::chrono::steady_clock::now();
      waitForWriter([&] { return writer_has_begun_ && std::chrono::steady_clock::now() - start >= kPatience; });
      restyled_.abort();
    }
    writer_.wait();
    read_.abort();
    source_.interrupt(); // after a failure of the sink the reader may still wait for bytes
    reader_.join();
    rethrow();
  }

private:
  // Polls the flags: a signal handler cannot wake a waiting thread. The writer's end is known at once, since 20 ms are long
  // beside an image.
  template <typename GiveUp> void waitForWriter(const GiveUp& gives_up) {
    constexpr std::chrono::milliseconds kLook(20);
    while (!gives_up() && writer_.wait_for(kLook) != std::future_status::ready) {
    }
  }

  void rethrow() const {
    for (const std::exception_ptr& failure : {source_failure_, sink_failure_}) {
      if (failure) {
        std::rethrow_exception(failure);
      }
    }
  }

  void readAhead() {
    try {
      while (std::optional<Item> item = source_.next()) {
        const std::size_t bytes = bytesOf(*item);
        if (!read_.push(*std::move(item), bytes)) {
          return;
        }
      }
    } catch (...) {
      source_failure_ = std::current_exception();
    }
    read_.close();
  }

  void writeBehind() {
    try {
      while (std::optional<Item> item = restyled_.pop()) {
        writer_has_begun_ = true;
        std::visit([this](auto& what) { sink_.write(std::move(what)); }, *item);
      }
    } catch (...) {
      sink_failure_ = std::current_exception();
      restyled_.abort();
    }
  }

  Source& source_;
  Sink& sink_;
  BoundedQueue<Item> read_;
  BoundedQueue<Item> restyled_;
  const std::atomic<bool>& cancelled_;
  std::atomic<bool> writer_has_begun_ = false; // the first result is written, so that there is an output
  std::exception_ptr source_failure_;          // each is set by its thread and read after the join
  std::exception_ptr sink_failure_;
  std::thread reader_;
  std::future<void> writer_;
};

void applyAll(std::span<Effect* const> effects, Frame& frame) {
  Picture picture =
      Picture::wrap(frame.picture.layout(), frame.picture.size(), frame.picture.pixels(), frame.picture.pitchBytes());
  Size size = picture.size();
  for (Effect* effect : effects) {
    effect->see(frame.picture, size);
    size = effect->resultSize(size);
  }
  for (Effect* effect : effects) {
    effect->apply(frame.picture, picture);
  }
  if (picture.ownsPixels()) {
    frame.picture = std::move(picture);
  }
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

std::unique_ptr<Source> openSource(const std::filesystem::path& file, const SourceOptions& options) {
  if (file == kPipeName) {
    return openPipeSource(base::kStandardInput, options);
  }
  return isImageFile(file) ? openImageSource(file, options) : openClipSource(file, options);
}

std::unique_ptr<Sink> openSink(const std::filesystem::path& file, const SourceInfo& source, Size size,
                               const SinkOptions& options) {
  if (file == kPipeName && options.image.empty()) {
    return openPipeSink(base::kStandardOutput, source, size, options.raw);
  }
  if (file == kPipeName || isImageName(file)) {
    return openImageSink(file, source, size, options);
  }
  if (isClipName(file)) {
    return openClipSink(file, source, size, options);
  }
  throw unknownExtension(file);
}

Error unknownExtension(const std::filesystem::path& output) {
  return {ErrorKind::kUsage, "the output " + base::quotedPath(output) + " has no known file extension: use one of " +
                                 base::joined(imageExtensions()) + "; for a clip " + base::joined(clipExtensions())};
}

Size resultSize(const SourceInfo& source, std::span<Effect* const> effects) {
  Size size = source.size;
  for (const Effect* effect : effects) {
    size = effect->resultSize(size);
  }
  return size;
}

RunResult run(Source& source, Sink& sink, std::span<Effect* const> effects, const RunOptions& options) {
  static const std::atomic<bool> never = false;
  const std::atomic<bool>& cancelled = options.cancelled != nullptr ? *options.cancelled : never;
  const auto start = std::chrono::steady_clock::now();
  RunResult result;
  result.warnings = sink.warnings();
  Threads threads(source, sink, cancelled);
  while (std::optional<Item> item = threads.next()) {
    auto* frame = std::get_if<Frame>(&*item);
    if (frame != nullptr) {
      applyAll(effects, *frame);
    }
    if (!threads.write(*std::move(item))) {
      break;
    }
    result.frames += frame != nullptr ? 1 : 0;
    if (frame != nullptr && options.on_frame) {
      options.on_frame({result.frames, source.info().frames_expected, millisecondsSince(start)});
    }
  }
  threads.join();
  result.cancelled = cancelled; // the flag may have been set during the last frame
  if (result.cancelled) {
    result.frames = sink.finishEarly();
  } else {
    sink.finish();
    result.damage = source.damage();
    for (std::string& line : sink.damage()) {
      result.damage.push_back(std::move(line));
    }
    for (std::string& line : source.warnings()) {
      result.warnings.push_back(std::move(line));
    }
  }
  return result;
}

} // namespace vorin::media
