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

void restyle(media::Restyling& restyling, media::Source& source, media::Sink& sink, InputResult& result,
             const media::RunOptions& run_options) {
  const auto start = std::chrono::steady_clock::now();
  result.size = sink.size();
  const media::RunResult run = restyling.run(source, sink, result.is_clip, run_options);
  const double elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.frames = run.frames;
  result.frames_per_second = elapsed_s > 0 ? static_cast<double>(run.frames) / elapsed_s : 0;
  result.damage = run.damage;
  result.warnings = run.warnings;
  result.restyler = restyling.report();
}

std::unique_ptr<media::Source> openInput(const Options& options, const InputResult& result) {
  if (!result.is_clip && !isPipe(result.input)) {
    return media::openImageSource(result.input, options.source);
  }
  const media::SourceOptions source = media::sourceOptions(options, true);
  if (!isPipe(result.input)) {
    return media::openClipSource(result.input, source);
  }
  base::waitForInput(base::kStandardInput, base::cancellationIsDue());
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
