// media_files.h: image files and clips for Python: frame by frame, and from file to file.
#pragma once

#include "pixels.h"
#include "vorin_jobs.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorin::python {

// The frames of an image file or a clip.
class FrameReader {
public:
  FrameReader(const std::string& file, media::PixelLayout layout);
  ~FrameReader();
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  media::SourceInfo info();
  nanobind::object next(); // (array, time, duration), the latter two in seconds; None at the end, which closes the reader
  const std::vector<std::string>& damage() const { return damage_; } // of the file, once its end is reached
  bool isClosed() const { return source_ == nullptr; }
  void close();

private:
  std::optional<media::Frame> readFrame();

  std::unique_ptr<media::Source> source_;
  media::PixelLayout layout_;
  std::vector<std::string> damage_;
  bool is_taken_ = false;
};

// on_progress: None, or called with the frames done and those expected or None. What it raises ends the work.
media::FileResult stylizeFile(const std::string& input, const std::string& output, const media::Recipe& recipe,
                              const nanobind::object& on_progress);

} // namespace vorin::python
