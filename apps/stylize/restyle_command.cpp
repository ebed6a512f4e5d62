// Restyles one input, or hands many to restyleMany.
#include "cancellation.h"
#include "effects/library_object.h"
#include "library_copy.h"
#include "many_inputs.h"
#include "options.h"
#include "output_file.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "terminal.h"
#include "text.h"

#include <exception>
#include <future>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

void printLines(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    printLine(line);
  }
}

void printClipJson(const media::RestylerReport& report, const InputResult& result, ExitStatus status) {
  nlohmann::ordered_json json = jsonOf(report);
  json.update(jsonOf(result));
  json.erase("outcome");
  json["cancelled"] = status == ExitStatus::kCancelled;
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
}

std::string outputText(const fs::path& output) {
  return isPipe(output) ? "standard output" : base::utf8Text(output);
}

ExitStatus reportOne(const Options& options, const media::RestylerReport& report, const InputResult& result) {
  const bool cancelled = base::cancellationIsDue(); // the signal may have come while the file was closed
  ExitStatus status = result.damage.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
  if (cancelled) {
    status = ExitStatus::kCancelled;
  }
  if (!options.quiet && cancelled && result.frames == 0) {
    printLine(outputText(result.output) + ": cancelled before the first frame, nothing written");
  } else if (!options.quiet) {
    printLine(outputText(result.output) + ": " + resultText(result));
  }
  printLines(result.warnings);
  printLines(result.damage);
  if (options.json && result.is_clip) {
    printClipJson(report, result, status);
  } else if (options.json) {
    InputResult told = result;
    if (result.frames == 0) {
      told.outcome = InputResult::Outcome::kFailed;
      told.error = "cancelled";
    }
    printRun(jsonOf(report), {told}, status);
  }
  return status;
}

bool writesImage(const Options& options) {
  return media::isImageName(options.output) || !options.sink.image.empty();
}

void checkOne(const Options& options, const fs::path& input, const fs::path& output, bool is_clip) {
  if (!is_clip && !writesImage(options)) {
    media::requireExists(input); // the user may have meant a folder, whose results go into a folder
    throw media::unknownExtension(output);
  }
  if (!options.to.empty() && !isPipe(output)) {
    throw usage("--to applies to many inputs only: leave it out and set the extension of -o");
  }
  if (!is_clip && !options.clip_options.empty()) {
    throw usage(options.clip_options.front() + " applies to clips only: leave it out, or name a clip as the output");
  }
  if (isPipe(output) && base::isTerminal(base::Stream::kOutput)) {
    throw usage("the output - is a terminal, which cannot show frames: pipe it into a program");
  }
  if (is_clip && isPipe(output) && media::isImageFile(input)) {
    throw usage(base::quotedPath(input) + " is an image: add --to with the kind that the output - is to be");
  }
  if (is_clip && !isPipe(output)) {
    media::checkClipOptions(output, options.sink);
  }
  if (!is_clip && media::isClipName(input)) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(input) + " is a clip: name the output like a clip, as out.mp4");
  }
}

// Throws unless the raw frames to write have the size that --raw names.
void requireRawSize(const Options& options, const InputResult& result, media::Size size) {
  const std::string& raw = options.sink.raw;
  if (!raw.empty() && isPipe(result.output) && !isPipe(result.input) && media::rawSize(raw) != size) {
    throw usage("--raw '" + raw + "' does not match the frames' size " + media::sizeText(size) +
                ": use that size, or set --size");
  }
}

ExitStatus restyleOne(const Options& options) {
  InputResult result;
  result.input = options.inputs.front();
  result.output = options.output;
  result.is_clip = !writesImage(options) && (isPipe(result.input) || isClipOutput(result.output));
  checkOne(options, result.input, result.output, result.is_clip);
  std::error_code error;
  if (options.resume && fs::is_regular_file(result.output, error)) {
    result.outcome = InputResult::Outcome::kSkipped;
    removeJobOf(result.output);
    if (options.json) {
      printRun({}, {result}, ExitStatus::kDone);
    }
    return ExitStatus::kDone;
  }
  const bool is_resumed = options.resume && result.is_clip && !isPipe(result.input) && !isPipe(result.output);
  if (!isPipe(result.output)) {
    base::requireWritable(result.output, options.sink.overwrite);
    if (!is_resumed) { // the leftovers may be those of another run of the same clip
      removeLeftovers(options, result.output.parent_path());
    }
    media::requireNotRead(result.output, {result.input, options.style_image});
  }
  if (is_resumed) {
    resumeClip(options, result, true);
    return reportOne(options, result.restyler, result);
  }
  // The input is decoded while the device is loaded. Its faults are reported first. Of a pipe, nothing may be read before it is
  // known that this process goes on.
  const bool may_restart = isPipe(result.input) && media::softwareNeedsOwnProcess();
  auto opening = std::async(may_restart ? std::launch::deferred : std::launch::async, [&] { return openInput(options, result); });
  std::exception_ptr device_failure;
  static std::optional<media::Restyling> restyling; // not destroyed: main ends the process without that
  try {
    restyling.emplace(options, prepareQuietly);
  } catch (const media::NeedsOwnProcess&) {
    throw;
  } catch (...) {
    device_failure = std::current_exception();
  }
  const std::unique_ptr<media::Source> source = opening.get();
  const media::Size size = resultSize(options, source->info());
  media::requireImageFits(result.output, size);
  requireRawSize(options, result, size);
  if (device_failure) {
    std::rethrow_exception(device_failure);
  }
  restyling->prepare(source->info());
  base::throwIfCancelled();
  const media::RestylerReport report = restyling->report();
  if (!options.quiet && result.is_clip) {
    printLine(headline(report));
  }
  const ProgressKind kind = progressKind(options.progress == ProgressWish::kJson, options.quiet);
  Progress progress(result.is_clip || kind == ProgressKind::kJson ? kind : ProgressKind::kNone,
                    result.is_clip ? "frames" : "images", source->info().frames_expected);
  const std::unique_ptr<media::Sink> sink = restyling->openSink(source->info(), result.output);
  restyle(*restyling, *source, *sink, result,
          {&base::cancellationIsDue(), [&](const media::Progress& now) { progress.update(now.frames_done); }});
  if (base::cancellationIsDue()) {
    progress.finish();
  } else {
    progress.finishAll(result.frames);
  }
  if (!options.quiet && !result.is_clip) {
    printLine(headline(report));
  }
  return reportOne(options, report, result);
}

} // namespace

ExitStatus restyle(const Options& options) {
  const fs::path& output = options.output;
  const bool several = nameSeveral(options.inputs);
  const bool is_file_name = media::isImageName(output) || isClipOutput(output);
  if (base::isFolder(options.style_image)) {
    if (several || isClipOutput(output) || isPipe(options.inputs.front())) {
      throw usage(
          "--style-image is a folder, which makes a sheet of one image in the look of each picture in it: name one image, or "
          "an image file in that folder");
    }
    if (options.size || options.resume || !options.to.empty() || options.sink.keep_alpha || !options.clip_options.empty()) {
      throw usage(
          "--style-image is a folder, which makes a sheet: leave out --size, --resume, --to, --keep-alpha and the options "
          "of clips");
    }
    return makeSheet(options);
  }
  if (several && is_file_name && !base::isFolder(output)) {
    throw usage("many inputs are restyled into a folder, and " + base::quotedPath(output) +
                " names a file: name a folder with -o");
  }
  const bool into_folder = !is_file_name && (base::isFolder(output) || !output.has_filename()) && !isPipe(options.inputs.front());
  return several || into_folder ? restyleMany(options) : restyleOne(options);
}

} // namespace vorin::stylize
