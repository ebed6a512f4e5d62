// Restyles many inputs into a folder and keeps their tree of folders. An input that fails does not stop the others.
//
// A result gets its name only when it is complete. So a resumed run treats every input whose output name exists as done.
#include "cancellation.h"
#include "options.h"
#include "output_file.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <future>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;
using Outcome = InputResult::Outcome;

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

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

Error amongTheInputs(const fs::path& name) {
  return usage("the results would lie among the inputs of " + base::quotedPath(name) + ": name another folder with -o");
}

// Lists the inputs and where their results go. No input has been opened yet.
std::vector<InputResult> plan(const Options& options) {
  std::error_code error;
  for (const fs::path& name : options.inputs) {
    if (fs::is_directory(name, error) && fs::equivalent(name, options.output, error)) {
      throw amongTheInputs(name);
    }
  }
  std::vector<InputResult> planned;
  std::map<std::string, int> other_kinds;
  const std::vector<Input> listed = listInputs(options.inputs, options.output, true, &other_kinds);
  if (!options.quiet && !other_kinds.empty()) {
    std::vector<std::string> kinds;
    for (const auto& [extension, files] : other_kinds) {
      kinds.push_back(std::to_string(files) + ' ' + (extension.empty() ? "without an extension" : extension));
    }
    printLine("left out, as no images or clips by their names: " + base::joined(kinds));
  }
  std::map<fs::path, int> wanted;
  for (const Input& input : listed) {
    ++wanted[outputFor(input, options.output, options.to)];
  }
  std::map<fs::path, fs::path> inputs;
  for (const Input& input : listed) {
    fs::path output = outputFor(input, options.output, options.to);
    if (wanted[output] > 1 && output.extension() != input.place.extension()) { // a.jpg becomes a.jpg.png beside a.png
      output = (options.output / input.place).concat(output.extension().native());
    }
    const auto [other, is_new] = inputs.emplace(output, input.file);
    if (!is_new) {
      throw usage(base::quotedPath(other->second) + " and " + base::quotedPath(input.file) + " would both be written to " +
                  base::quotedPath(output) + ": leave --to out, or restyle one of them alone");
    }
    if (fs::equivalent(input.file, output, error)) {
      throw amongTheInputs(input.file);
    }
    requireNotRead(output, {options.style_image});
    InputResult result;
    result.input = input.file;
    result.output = output;
    result.is_clip = input.is_clip;
    planned.push_back(result);
  }
  if (planned.empty()) {
    throw Error(ErrorKind::kInputOutput,
                "there is no image or clip in " + base::quotedPath(options.inputs.front()) + ": name another folder");
  }
  if (std::none_of(planned.begin(), planned.end(), [&](const auto& each) { return fs::exists(each.input, error) || error; })) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(planned.front().input) + " does not exist: check the name");
  }
  return planned;
}

// An input that is its own result counts as not done.
bool isDone(const InputResult& planned) {
  std::error_code error;
  return fs::is_regular_file(planned.output, error) && !fs::equivalent(planned.input, planned.output, error);
}

void removeLeftovers(const std::vector<InputResult>& planned) {
  std::set<fs::path> folders;
  for (const InputResult& each : planned) {
    folders.insert(each.output.parent_path());
  }
  std::for_each(folders.begin(), folders.end(), base::removeTemporariesIn);
}

std::size_t count(const std::vector<InputResult>& results, Outcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [&](const auto& each) { return each.outcome == outcome; }));
}

std::string unitOf(const std::vector<InputResult>& results) {
  const bool has_clips = std::any_of(results.begin(), results.end(), [](const auto& each) { return each.is_clip; });
  return has_clips ? "files" : "images";
}

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
    while (next_ < results_.size() && results_[next_].outcome == Outcome::kSkipped) {
      ++next_;
    }
    if (next_ < results_.size()) {
      // What is read of a result is settled before the first is restyled.
      opening_ = std::async(std::launch::async, [this, &result = results_[next_++]] { return openInput(options_, result); });
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
  ManyInputs(const Options& options, Restyling& restyling, std::vector<InputResult>& results)
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
    const std::unique_ptr<media::Source> source = inputs_.take();
    if (!result.is_clip && !media::isImageName(result.output)) { // an extension that is read, but not written on this system
      throw Error(ErrorKind::kInputOutput,
                  base::quotedPath(result.output) + " has an extension that this system cannot write: add --to png");
    }
    media::requireImageFits(result.output, resultSize(options_, source->info()));
    makeFolder(result.output.parent_path());
    if (result.is_clip) {
      restyling_.run(*source, result, {&base::cancellationIsDue(), {}});
      settle();
      report(result);
      return;
    }
    std::unique_ptr<media::Sink> sink = restyling_.openSink(*source, result);
    KeptPicture picture(sink->size());
    restyling_.run(*source, picture, result, {&base::cancellationIsDue(), {}});
    settle();
    if (!base::cancellationIsDue()) {
      writeBehind(result, std::move(sink), picture.take());
    }
  }

  void writeBehind(InputResult& result, std::unique_ptr<media::Sink> sink, media::Frame&& frame) {
    being_written_ = &result;
    written_ = std::async(std::launch::async, [sink = std::move(sink), frame = std::move(frame)]() mutable {
      sink->write(std::move(frame));
      sink->finish();
      sink.reset();
    });
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
  Restyling& restyling_;
  std::vector<InputResult>& results_;
  InputsAhead inputs_;
  Progress progress_;
  std::int64_t done_ = 0;
  InputResult* being_written_ = nullptr;
  std::future<void> written_;
};

// Prints the summary and the names of the failed inputs.
ExitStatus conclude(const Options& options, const std::vector<InputResult>& results) {
  const std::size_t failed = count(results, Outcome::kFailed);
  if (!options.quiet) {
    const std::size_t done = count(results, Outcome::kDone);
    const std::size_t skipped = count(results, Outcome::kSkipped);
    const std::string unit = unitOf(results);
    printLine(base::utf8Text(options.output) + ": " + std::to_string(done) + " " +
              (done == 1 ? unit.substr(0, unit.size() - 1) : unit) + " restyled" +
              (skipped > 0 ? ", " + std::to_string(skipped) + " there already" : "") +
              (failed > 0 ? ", " + std::to_string(failed) + " failed:" : ""));
  }
  bool is_damaged = false;
  int exist_already = 0;
  for (const InputResult& result : results) {
    if (result.outcome == Outcome::kFailed) {
      printLine("failed: " + base::quotedPath(result.input));
      exist_already += isDone(result) ? 1 : 0;
    }
    is_damaged = is_damaged || !result.damage.empty();
  }
  if (exist_already > 0) {
    printLine(std::to_string(exist_already) + " of the results are there already: add --resume to skip them");
  }
  return failed > 0 || is_damaged ? ExitStatus::kSomeInputsFailed : ExitStatus::kDone;
}

media::RestylerReport restyleAll(const Options& options, std::vector<InputResult>& results) {
  static std::optional<Restyling> restyling; // not destroyed: main ends the process without that
  restyling.emplace(options);
  const media::RestylerReport report = restyling->report();
  if (!options.quiet) {
    printLine(headline(report));
  }
  ManyInputs(options, *restyling, results).restyle();
  return report;
}

} // namespace

ExitStatus restyleMany(const Options& options) {
  std::vector<InputResult> results = plan(options);
  const bool has_clips = unitOf(results) == "files";
  if (!has_clips && !options.clip_options.empty()) {
    throw usage(options.clip_options.front() + " applies to clips only, and none is named: leave it out");
  }
  makeFolder(options.output);
  if (options.resume) {
    removeLeftovers(results);
    for (InputResult& result : results) {
      result.outcome = isDone(result) ? Outcome::kSkipped : Outcome::kDone;
    }
  }
  std::optional<media::RestylerReport> report;
  if (count(results, Outcome::kSkipped) < results.size()) {
    report = restyleAll(options, results);
  }
  const ExitStatus status = conclude(options, results);
  if (options.json) {
    printRun(report ? jsonOf(*report) : nlohmann::ordered_json(), results, status);
  }
  return status;
}

} // namespace vorin::stylize
