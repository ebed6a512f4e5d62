// restyling.h: restyles inputs: connects source, effects and sink. A run makes one object for all its inputs.
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

  // Does what can fail before the next input's first frame: checks that the device runs the style, and loads its network. run()
  // does it if it was not called.
  void prepare(media::Size input);

  // Restyles the source into the result's output, and stores the outcome in the result.
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

// Reads the picture of an image file.
media::Picture readImage(const std::filesystem::path& file);

// Prepares while standard output and standard error are shut: the library prints each failed attempt to standard output, where
// only data may go, and its runtime prints warnings about other programs' files. If the library's log is on, nothing is shut.
void prepareQuietly(media::Restyler& restyler, media::Size input);

// Whether a name stands for a pipe, or is written as a clip or a pipe.
bool isPipe(const std::filesystem::path& file);
bool isClipOutput(const std::filesystem::path& output);

} // namespace vorin::stylize
