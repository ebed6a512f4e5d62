// restyling.h: what turns one input into its result: source, effects, sink. A run makes it once.
#pragma once

#include "vorin_media.hpp"

namespace vorin::stylize {

struct InputResult;
struct Options;

class Restyling {
public:
  // Throws for a device, a package or a style image that cannot be used. options must outlive the object.
  explicit Restyling(const Options& options);

  media::RestylerReport report() const { return restyler_.report(); }

  // Does what can fail before the next input's first frame: whether the device runs the style, and whether its network loads.
  // run() does it where it was not done.
  void prepare(media::Size input);

  // Restyles the source into the result's output, and writes down how that went.
  void run(media::Source& source, InputResult& result, const media::RunOptions& run_options);

private:
  const Options& options_;
  media::Restyler restyler_;
  std::unique_ptr<media::Look> look_;
  bool is_prepared_ = false; // for the next input
  double load_ms_ = 0;       // of its network
};

// Opens the result's input.
std::unique_ptr<media::Source> openInput(const Options& options, const InputResult& result);

// The picture of an image file.
media::Picture readImage(const std::filesystem::path& file);

// Prepares without what the style-transfer library and its runtime print: the one writes each failed attempt to standard output,
// where only data may go, the other complains on standard error about files that are not its own. Where the library's log is on,
// it shows.
void prepareQuietly(media::Restyler& restyler, media::Size input);

// Whether a name stands for a pipe, or is written as a clip or a pipe.
bool isPipe(const std::filesystem::path& file);
bool isClipOutput(const std::filesystem::path& output);

} // namespace vorin::stylize
