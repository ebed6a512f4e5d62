#include "recipe.h"

#include "files.h"
#include "output_file.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>
#include <variant>

namespace vorin::media {

namespace fs = std::filesystem;

Size resultSize(const Recipe& recipe, const SourceInfo& source) {
  if (!recipe.size) {
    return source.size;
  }
  const SizeRule rule = *recipe.size;
  const Size shown = shownSize(source);
  const bool is_image = source.frames_expected == 1 && detailsOf(source).streams == nullptr;
  const auto rounded = [&](double side) { // most encoders want even sides
    return is_image ? std::llround(side) : 2 * std::llround(side / 2);
  };
  const auto sideFor = [&](int own, int own_shown, int other, int other_shown) {
    const double scale = rule.percent > 0 ? rule.percent / 100 : static_cast<double>(other) / other_shown;
    return own > 0 ? own : std::max(is_image ? 1LL : 2LL, rounded(own_shown * scale));
  };
  const auto wide = static_cast<std::uint64_t>(sideFor(rule.width, shown.width, rule.height, shown.height));
  const auto high = static_cast<std::uint64_t>(sideFor(rule.height, shown.height, rule.width, shown.width));
  if (!isUsableSize(wide, high)) {
    throw Error(ErrorKind::kUsage, "--size would make a result of " + std::to_string(wide) + "x" + std::to_string(high) +
                                       " pixels: choose one with " + sizeLimits());
  }
  const Size size = {static_cast<int>(wide), static_cast<int>(high)};
  return isOnItsSide(source) ? Size{size.height, size.width} : size;
}

SourceOptions sourceOptions(const Recipe& recipe, bool is_clip) {
  SourceOptions options = recipe.source;
  // Without any of the style, the result equals the source as exactly as its layout allows.
  options.exact_colours = is_clip && recipe.strength == 0 && !recipe.size;
  return options;
}

Picture readImage(const std::filesystem::path& file, const SourceOptions& options) {
  std::optional<Item> item = openImageSource(file, options)->next();
  return std::move(std::get<Frame>(item.value()).picture);
}

SourceInfo infoForSink(const Recipe& recipe, const SourceInfo& source) {
  return recipe.size ? withSquarePixels(source) : source;
}

Restyling::Restyling(const Recipe& recipe, Prepare prepare)
    : recipe_(recipe), prepare_(std::move(prepare)), restyler_(recipe.restyler) {
  if (!recipe.style_image.empty()) {
    restyler_.setStyleImage(readImage(recipe.style_image, recipe.source));
  }
  if (recipe.strength != 1 || recipe.keep_colours) {
    look_ = std::make_unique<Look>(recipe.strength, recipe.keep_colours);
  }
}

RestylerReport Restyling::report() const {
  RestylerReport report = restyler_.report();
  report.load_ms = load_ms_;
  return report;
}

void Restyling::prepare(const SourceInfo& input) {
  restyler_.startSequence();
  restyler_.setSize(recipe_.size ? std::optional(resultSize(recipe_, input)) : std::nullopt);
  if (prepare_) {
    prepare_(restyler_, input.size);
  } else {
    restyler_.prepare(input.size);
  }
  load_ms_ = restyler_.report().load_ms;
  is_prepared_ = true;
}

std::unique_ptr<Sink> Restyling::openSink(const SourceInfo& source, const std::filesystem::path& output) const {
  return media::openSink(output, infoForSink(recipe_, source), resultSize(recipe_, source), recipe_.sink);
}

RunResult Restyling::run(Source& source, Sink& sink, bool is_clip, const RunOptions& options, std::int64_t first_frame) {
  if (!is_prepared_) {
    prepare(source.info());
  }
  is_prepared_ = false;
  std::optional<Steady> steady;
  std::vector<Effect*> effects = {&restyler_};
  if (recipe_.steady && is_clip) {
    effects.push_back(&steady.emplace(recipe_.restyler.style, first_frame));
  }
  if (look_ != nullptr) {
    effects.push_back(look_.get());
  }
  return media::run(source, sink, effects, options);
}

void requireNotRead(const fs::path& output, const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    std::error_code ignored; // of a file that does not exist
    if (fs::equivalent(file, output, ignored) || (file == kPipeName && base::isStandardInput(output))) {
      throw Error(ErrorKind::kUsage, "the output " + base::quotedPath(output) + " is the file " +
                                         (file == kPipeName ? "of standard input" : base::quotedPath(file)) +
                                         ", which is read: name another output");
    }
  }
}

FileResult restyleFile(const fs::path& input, const fs::path& output, const Recipe& recipe, const RunOptions& options) {
  const bool is_clip = isClipName(output);
  if (!is_clip && !isImageName(output)) {
    throw unknownExtension(output);
  }
  if (is_clip) {
    checkClipOptions(output, recipe.sink);
  } else if (isClipName(input)) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(input) + " is a clip: name the output like a clip, as out.mp4");
  } else if (recipe.steady) {
    throw Error(ErrorKind::kUsage, "--steady applies to clips only: leave it out, or name a clip as the output");
  }
  base::requireWritable(output, recipe.sink.overwrite);
  requireNotRead(output, {input, recipe.style_image});
  const std::unique_ptr<Source> source =
      is_clip ? openClipSource(input, sourceOptions(recipe, true)) : openImageSource(input, recipe.source);
  requireImageFits(output, resultSize(recipe, source->info()));
  Restyling restyling(recipe);
  restyling.prepare(source->info());
  const std::unique_ptr<Sink> sink = restyling.openSink(source->info(), output);
  const RunResult run = restyling.run(*source, *sink, is_clip, options);
  return {run, sink->size(), restyling.report()};
}

} // namespace vorin::media
