// Chooses the kind of source or sink that a name stands for.
#include "sources_and_sinks.h"
#include "text.h"

namespace vorin::media {
namespace {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;

} // namespace

std::unique_ptr<Source> openSource(const std::filesystem::path& file, const SourceOptions& options) {
  if (file == kPipeName) {
    return openPipeSource(kStandardInput, options);
  }
  return isImageFile(file) ? openImageSource(file, options) : openClipSource(file, options.exact_colours);
}

std::unique_ptr<Sink> openSink(const std::filesystem::path& file, const SourceInfo& source, Size size,
                               const SinkOptions& options) {
  if (file == kPipeName) {
    return openPipeSink(kStandardOutput, source, size, options.raw);
  }
  if (isImageName(file)) {
    return openImageSink(file, source, size, options);
  }
  if (isClipName(file)) {
    return openClipSink(file, source, size, options);
  }
  const std::string clips = base::joined(clipExtensions());
  throw Error(ErrorKind::kUsage, "the output " + base::quotedPath(file) + " has no known file extension: use one of " +
                                     base::joined(imageExtensions()) + (clips.empty() ? "" : "; for a clip " + clips));
}

} // namespace vorin::media
