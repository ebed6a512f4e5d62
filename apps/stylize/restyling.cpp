#include "restyling.h"

#include "cancellation.h"
#include "options.h"
#include "report.h"
#include "sources_and_sinks.h"
#include "terminal.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

namespace vorin::stylize {
namespace {

bool libraryLogIsOn() {
  const char* log_switch =
      std::getenv("VORIN_DUMP_ST_LOG"); // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
  return log_switch != nullptr && std::string_view(log_switch) != "0";
}

} // namespace

media::Size resultSize(const Options& options, const media::SourceInfo& source) {
  if (!options.size) {
    return source.size;
  }
  const auto [width, height, percent] = *options.size;
  const media::Size shown = media::shownSize(source);
  const bool is_image = source.frames_expected == 1 && media::detailsOf(source).streams == nullptr;
  const auto rounded = [&](double side) { // most encoders want even sides
    return is_image ? std::llround(side) : 2 * std::llround(side / 2);
  };
  const auto sideFor = [&](int own, int own_shown, int other, int other_shown) {
    const double scale = percent > 0 ? percent / 100 : static_cast<double>(other) / other_shown;
    return own > 0 ? own : std::max(is_image ? 1LL : 2LL, rounded(own_shown * scale));
  };
  const auto wide = static_cast<std::uint64_t>(sideFor(width, shown.width, height, shown.height));
  const auto high = static_cast<std::uint64_t>(sideFor(height, shown.height, width, shown.width));
  if (!media::isUsableSize(wide, high)) {
    throw Error(ErrorKind::kUsage, "--size would make a result of " + std::to_string(wide) + "x" + std::to_string(high) +
                                       " pixels: choose one with " + media::sizeLimits());
  }
  const media::Size size = {static_cast<int>(wide), static_cast<int>(high)};
  return media::isOnItsSide(source) ? media::Size{size.height, size.width} : size;
}

Restyling::Restyling(const Options& options) : options_(options), restyler_(options.restyler) {
  if (!options.style_image.empty()) {
    restyler_.setStyleImage(readImage(options.style_image, options.source));
  }
  if (options.strength < 1 || options.keep_colours) {
    look_ = std::make_unique<media::Look>(options.strength, options.keep_colours);
  }
}

void Restyling::prepare(const media::SourceInfo& input) {
  restyler_.startSequence();
  restyler_.setSize(options_.size ? std::optional(resultSize(options_, input)) : std::nullopt);
  prepareQuietly(restyler_, input.size);
  load_ms_ = restyler_.report().load_ms;
  is_prepared_ = true;
}

std::unique_ptr<media::Sink> Restyling::openSink(const media::Source& source, const InputResult& result) const {
  const media::SourceInfo info = options_.size ? media::withSquarePixels(source.info()) : source.info();
  return media::openSink(result.output, info, resultSize(options_, source.info()), options_.sink);
}

void Restyling::run(media::Source& source, InputResult& result, const media::RunOptions& run_options) {
  run(source, *openSink(source, result), result, run_options);
}

void Restyling::run(media::Source& source, media::Sink& sink, InputResult& result, const media::RunOptions& run_options) {
  const auto start = std::chrono::steady_clock::now();
  result.size = sink.size();
  if (!is_prepared_) {
    prepare(source.info());
  }
  is_prepared_ = false;
  std::optional<media::Steady> steady;
  std::vector<media::Effect*> effects = {&restyler_};
  if (options_.steady && result.is_clip) {
    effects.push_back(&steady.emplace(options_.restyler.style));
  }
  if (look_ != nullptr) {
    effects.push_back(look_.get());
  }
  const media::RunResult run = media::run(source, sink, effects, run_options);
  const double elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.frames = run.frames;
  result.frames_per_second = elapsed_s > 0 ? static_cast<double>(run.frames) / elapsed_s : 0;
  result.damage = run.damage;
  result.warnings = run.warnings;
  result.restyler = restyler_.report();
  result.restyler.load_ms = load_ms_;
}

std::unique_ptr<media::Source> openInput(const Options& options, const InputResult& result) {
  if (!result.is_clip && !isPipe(result.input)) {
    return media::openImageSource(result.input, options.source);
  }
  // Without any of the style, the result equals the source as exactly as its layout allows.
  media::SourceOptions source = options.source;
  source.exact_colours = options.strength == 0 && !options.size;
  if (!isPipe(result.input)) {
    return media::openClipSource(result.input, source);
  }
  media::waitForStandardInput(base::cancellationIsDue());
  base::throwIfCancelled();
  std::unique_ptr<media::Source> pipe = media::openSource(result.input, source);
  const bool is_image = pipe->info().frames_expected == 1;
  if (is_image == result.is_clip) {
    throw Error(ErrorKind::kInputOutput,
                is_image ? "standard input is an image: name the output like one, as out.png, or add --to for the output -"
                         : "standard input holds frames: name the output like a clip, as out.mp4");
  }
  return pipe;
}

media::Picture readImage(const std::filesystem::path& file, const media::SourceOptions& options) {
  std::optional<media::Item> item = media::openImageSource(file, options)->next();
  return std::move(std::get<media::Frame>(item.value()).picture);
}

void prepareQuietly(media::Restyler& restyler, media::Size input) {
  const base::Quiet output(base::Stream::kOutput);
  std::optional<base::Quiet> error;
  if (!libraryLogIsOn()) {
    error.emplace(base::Stream::kError);
  }
  restyler.prepare(input);
}

bool isPipe(const std::filesystem::path& file) {
  return file == media::kPipeName;
}

bool isClipOutput(const std::filesystem::path& output) {
  return isPipe(output) || media::isClipName(output);
}

} // namespace vorin::stylize
