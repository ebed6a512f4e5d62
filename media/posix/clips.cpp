// Clips, pipes and steadying, by the module that is loaded when one of them is first wanted.
#include "../clip_module.h"
#include "../library_copy.h"

#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

namespace vorin::media {
const ClipModule& clipModule() {
  static const ClipModule& loaded = []() -> const ClipModule& {
    void* const library = loadLibrary("libvorin_media_clips.so");
    return *reinterpret_cast<ClipModuleFunction*>(dlsym(library, kClipModuleFunction))();
  }();
  return loaded;
}

void checkClipOptions(const std::filesystem::path& output, const SinkOptions& options) {
  clipModule().check_options(output, options);
}

std::unique_ptr<Source> openClipSource(const std::filesystem::path& clip, bool exact_colours) {
  return clipModule().open_clip_source(clip, exact_colours);
}

std::unique_ptr<Sink> openClipSink(const std::filesystem::path& clip, const SourceInfo& source, Size size,
                                   const SinkOptions& options) {
  return clipModule().open_clip_sink(std::make_unique<base::TemporaryOutput>(clip, options.overwrite), clip, source, size,
                                     options);
}

void waitForStandardInput(const std::atomic<bool>& cancelled) {
  constexpr int kLook_ms = 20;
  pollfd end = {STDIN_FILENO, POLLIN, 0};
  while (!cancelled && poll(&end, 1, kLook_ms) == 0) {
  }
}

std::unique_ptr<Source> openPipeSource(int descriptor, const SourceOptions& options) {
  return clipModule().open_pipe_source(descriptor, options);
}

std::unique_ptr<Sink> openPipeSink(int descriptor, const SourceInfo& source, Size size, const std::string& raw) {
  return clipModule().open_pipe_sink(descriptor, source, size, raw);
}

class Steady::Work {
public:
  explicit Work(Style style) : effect(clipModule().make_steady(style)) {}

  std::unique_ptr<Effect> effect;
};

Steady::Steady(Style style) : work_(std::make_unique<Work>(style)) {}
Steady::~Steady() = default;

void Steady::see(const Picture& source, Size size) {
  work_->effect->see(source, size);
}

void Steady::apply(const Picture& source, Picture& picture) {
  work_->effect->apply(source, picture);
}

} // namespace vorin::media
