// recipe.h: restyles sources and files as a recipe says: makes the effects and the sinks, and runs them.
#pragma once

#include "vorin_jobs.hpp"

namespace vorin::media {

// The size of the result's pictures as they are stored: the rule means them as they are shown. Throws kUsage if no picture may
// have that size.
Size resultSize(const Recipe& recipe, const SourceInfo& source);

// How to open a source of the recipe.
SourceOptions sourceOptions(const Recipe& recipe, bool is_clip);

// Reads the picture of an image file.
Picture readImage(const std::filesystem::path& file, const SourceOptions& options);

// One object serves any number of inputs.
class Restyling {
public:
  using Prepare = std::function<void(Restyler&, Size)>;

  // Throws for a device, a package or a style image that cannot be used. recipe must outlive the object. prepare: called in place
  // of Restyler::prepare, if it is set.
  explicit Restyling(const Recipe& recipe, Prepare prepare = {});

  RestylerReport report() const; // load_ms: of the last input's network

  // Does what can fail before the next input's first frame: checks that the device runs the style, and loads its network. run()
  // does it if it was not called.
  void prepare(const SourceInfo& input);

  std::unique_ptr<Sink> openSink(const SourceInfo& source, const std::filesystem::path& output) const;

  // first_frame: the number of the source's first frame in its clip.
  RunResult run(Source& source, Sink& sink, bool is_clip, const RunOptions& options, std::int64_t first_frame = 0);

private:
  const Recipe& recipe_;
  Prepare prepare_;
  Restyler restyler_;
  std::unique_ptr<Look> look_;
  bool is_prepared_ = false; // for the next input
  double load_ms_ = 0;       // of its network
};

// Throws kUsage if the output is one of the files that are read, also through links, so that overwriting does not destroy it.
void requireNotRead(const std::filesystem::path& output, const std::vector<std::filesystem::path>& files);

// The source's description for a sink of the recipe's results.
SourceInfo infoForSink(const Recipe& recipe, const SourceInfo& source);

} // namespace vorin::media
