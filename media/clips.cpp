// Clips, pipes and steadying, by the module that is loaded when one of them is first wanted.
#include "cancellation.h"
#include "clip_module.h"
#include "library_copy.h"
#include "terminal.h"

#include <algorithm>

namespace vorin::media {
namespace {

// Reads until there are so many bytes, or the other end closes.
void readPipe(int descriptor, std::size_t most_bytes, std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kPortion_bytes = std::size_t{1} << 16U;
  for (std::size_t portion = 1; portion != 0 && bytes.size() < most_bytes;) {
    const std::size_t before = bytes.size();
    bytes.resize(std::min(most_bytes, before + kPortion_bytes));
    portion = base::readInput(descriptor, std::span(bytes).subspan(before), base::cancellationIsDue());
    base::throwIfCancelled();
    bytes.resize(before + portion);
  }
}

} // namespace

void checkClipOptions(const std::filesystem::path& output, const SinkOptions& options) {
  clipModule().check_options(output, options);
}

std::unique_ptr<Source> openClipSource(const std::filesystem::path& clip, const SourceOptions& options) {
  return clipModule().open_clip_source(clip, options);
}

std::unique_ptr<Sink> openClipSink(const std::filesystem::path& clip, const SourceInfo& source, Size size,
                                   const SinkOptions& options) {
  return clipModule().open_clip_sink(std::make_unique<base::TemporaryOutput>(clip, options.overwrite), clip, source, size,
                                     options);
}

std::unique_ptr<Source> openPipeSource(int descriptor, const SourceOptions& options) {
  constexpr std::size_t kTellingBytes = 16;
  constexpr std::size_t kMostBytes = std::size_t{1} << 30;
  std::vector<std::uint8_t> begin;
  if (options.raw.empty()) { // else the user says that these are frames
    readPipe(descriptor, kTellingBytes, begin);
  }
  if (imageKindOf(begin) == ImageKind::kNone) {
    return clipModule().open_pipe_source(descriptor, options, std::move(begin));
  }
  readPipe(descriptor, kMostBytes, begin);
  return openPipedImage(begin, options);
}

std::unique_ptr<Sink> openPipeSink(int descriptor, const SourceInfo& source, Size size, const std::string& raw) {
  return clipModule().open_pipe_sink(descriptor, source, size, raw);
}

std::optional<ClipSurvey> surveyClip(Source& clip, const SurveyRules& rules, const OnFrame& on_frame) {
  return clipModule().survey_clip(clip, rules, on_frame);
}

std::unique_ptr<Source> openClipPart(const std::filesystem::path& clip, const SourceOptions& options, const ClipPart& part,
                                     bool without_seeking) {
  return clipModule().open_clip_part(clip, options, part, without_seeking);
}

std::unique_ptr<UnitSink> openUnitSink(const std::filesystem::path& file, const std::filesystem::path& output,
                                       const SourceInfo& source, Size size, const SinkOptions& options, std::int64_t warm_up) {
  return clipModule().open_unit_sink(file, output, source, size, options, warm_up);
}

std::unique_ptr<Source> openClipPackets(const std::filesystem::path& clip, const SourceOptions& options) {
  return clipModule().open_clip_packets(clip, options);
}

std::optional<ClipSurvey> joinClip(std::unique_ptr<base::TemporaryOutput> file, const std::filesystem::path& output,
                                   Source& clip_packets, const SourceInfo& info, Size size, const SinkOptions& options,
                                   std::span<const UnitFile> units, const OnFrame& on_frame) {
  return clipModule().join_clip(std::move(file), output, clip_packets, info, size, options, units, on_frame);
}

class Steady::Work {
public:
  Work(Style style, std::int64_t first_frame) : effect(clipModule().make_steady(style, first_frame)) {}

  std::unique_ptr<Effect> effect;
};

Steady::Steady(Style style, std::int64_t first_frame) : work_(std::make_unique<Work>(style, first_frame)) {}
Steady::~Steady() = default;

void Steady::see(const Picture& source, Size size) {
  work_->effect->see(source, size);
}

void Steady::apply(const Picture& source, Picture& picture) {
  work_->effect->apply(source, picture);
}

} // namespace vorin::media
