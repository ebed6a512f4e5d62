#include "many_inputs.h"

#include "cancellation.h"
#include "options.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <future>
#include <new>
#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using Outcome = InputResult::Outcome;

// Opens the inputs that are to be done, one ahead of the restyling: decoding an image takes about as long as a frame.
class InputsAhead {
public:
  InputsAhead(const Options& options, const std::vector<InputResult>& results) : options_(options), results_(results) {
    openNext();
  }

  // The next input, or why it does not open.
  std::unique_ptr<media::Source> take() {
    std::future<std::unique_ptr<media::Source>> opened = std::move(opening_);
    opened.wait();
    openNext();
    return opened.get();
  }

private:
  void openNext() {
    // A clip that is resumed opens its own parts.
    while (next_ < results_.size() &&
           (results_[next_].outcome == Outcome::kSkipped || (options_.resume && results_[next_].is_clip))) {
      ++next_;
    }
    if (next_ < results_.size()) {
      // What is read of a result is settled before the first is restyled. If the system starts no thread, take() opens the input.
      const auto open = [this, &result = results_[next_++]] { return openInput(options_, result); };
      try {
        opening_ = std::async(std::launch::async, open);
      } catch (const std::system_error&) {
        opening_ = std::async(std::launch::deferred, open);
      }
    }
  }

  const Options& options_;
  const std::vector<InputResult>& results_;
  std::size_t next_ = 0;
  std::future<std::unique_ptr<media::Source>> opening_;
};

// Stores the failure of work on an input in its result. Returns whether there was none.
template <typename Work> bool tryTo(InputResult& result, const Work& work) {
  try {
    work();
    return true;
  } catch (const Error& error) {
    result.error = error.what();
  } catch (const std::bad_alloc&) {
    result.error = base::quotedPath(result.input) + " needs more memory than there is: use a smaller image";
  } catch (const std::exception& error) {
    result.error = base::quotedPath(result.input) + " cannot be restyled (" + error.what() + "): use another input";
  }
  result.outcome = Outcome::kFailed;
  return false;
}

// Keeps the picture of one image.
class KeptPicture final : public media::Sink {
public:
  explicit KeptPicture(media::Size size) : size_(size) {}

  media::Size size() const override { return size_; }
  void write(media::Packet&& /*packet*/) override {}
  void write(media::Frame&& frame) override { frame_ = std::move(frame); }
  void finish() override {}
  std::int64_t finishEarly() override { return 0; }

  media::Frame take() { return std::move(frame_); }

private:
  media::Size size_;
  media::Frame frame_;
};

// Restyles the inputs that are not done yet, one after the other. An image is encoded and written while the next one is restyled:
// that takes about as long as a frame.
class ManyInputs {
public:
  ManyInputs(const Options& options, media::Restyling& restyling, std::vector<InputResult>& results)
      : options_(options), restyling_(restyling), results_(results), inputs_(options, results),
        progress_(progressKind(options.progress == ProgressWish::kJson, options.quiet), unitOf(results),
                  static_cast<std::int64_t>(results.size() - count(results, Outcome::kSkipped))) {}

  void restyle() {
    for (InputResult& result : results_) {
      if (result.outcome == Outcome::kSkipped) {
        continue;
      }
      if (!tryTo(result, [&] { restyleOne(result); })) {
        settle();
        report(result);
      }
      endIfCancelled();
    }
    settle();
    progress_.finish();
  }

private:
  void restyleOne(InputResult& result) {
    if (options_.resume && result.is_clip) {
      settle();
      makeFolder(result.output.parent_path());
      resumeClip(options_, result, false);
      report(result);
      return;
    }
    const std::unique_ptr<media::Source> source = inputs_.take();
    if (!result.is_clip && !media::isImageName(result.output)) { // an extension that is read, but not written on this system
      throw Error(ErrorKind::kInputOutput,
                  base::quotedPath(result.output) + " has an extension that this system cannot write: add --to png");
    }
    media::requireImageFits(result.output, resultSize(options_, source->info()));
    makeFolder(result.output.parent_path());
    if (result.is_clip) {
      stylize::restyle(restyling_, *source, *restyling_.openSink(source->info(), result.output), result,
                       {&base::cancellationIsDue(), {}});
      settle();
      report(result);
      return;
    }
    std::unique_ptr<media::Sink> sink = restyling_.openSink(source->info(), result.output);
    KeptPicture picture(sink->size());
    stylize::restyle(restyling_, *source, picture, result, {&base::cancellationIsDue(), {}});
    settle();
    if (!base::cancellationIsDue()) {
      writeBehind(result, std::move(sink), picture.take());
    }
  }

  void writeBehind(InputResult& result, std::unique_ptr<media::Sink> sink, media::Frame&& frame) {
    written_ = std::async(std::launch::async, [sink = std::move(sink), frame = std::move(frame)]() mutable {
      sink->write(std::move(frame));
      sink->finish();
      sink.reset();
    });
    being_written_ = &result; // after std::async, which throws if the system starts no thread
  }

  // Waits until the image before is written, and reports it.
  void settle() {
    if (being_written_ != nullptr) {
      InputResult& result = *std::exchange(being_written_, nullptr);
      tryTo(result, [this] { written_.get(); });
      report(result);
    }
  }

  void endIfCancelled() {
    if (!base::cancellationIsDue()) {
      return;
    }
    settle();
    progress_.finish();
    if (!options_.quiet) {
      printLine(base::utf8Text(options_.output) + ": " + std::to_string(done_) + " of " +
                std::to_string(results_.size() - count(results_, Outcome::kSkipped)) +
                " restyled, which are kept: --resume goes on");
    }
    base::throwIfCancelled();
  }

  void report(const InputResult& result) {
    if (result.outcome == Outcome::kFailed) {
      progress_.say(result.error);
    }
    for (const auto* lines : {&result.warnings, &result.damage}) {
      std::for_each(lines->begin(), lines->end(), [this](const std::string& line) { progress_.say(line); });
    }
    progress_.update(++done_);
  }

  const Options& options_;
  media::Restyling& restyling_;
  std::vector<InputResult>& results_;
  InputsAhead inputs_;
  Progress progress_;
  std::int64_t done_ = 0;
  InputResult* being_written_ = nullptr;
  std::future<void> written_;
};

} // namespace

void makeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  std::error_code ignored;
  if (!fs::is_directory(folder, ignored)) {
    throw Error(ErrorKind::kInputOutput, "the folder " + base::quotedPath(folder) + " cannot be made (" +
                                             (error ? error.message() : "there is a file of that name") +
                                             "): choose another one");
  }
}

void restyleEach(const Options& options, media::Restyling& restyling, std::vector<InputResult>& results) {
  ManyInputs(options, restyling, results).restyle();
}

} // namespace vorin::stylize
