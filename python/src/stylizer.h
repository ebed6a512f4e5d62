// stylizer.h: a restyler for Python, closed at a time that the user chooses.
#pragma once

#include "pixels.h"
#include "vorin_media.hpp"

#include <memory>

namespace vorin::python {

// A frame or its options that the media library refuses.
class FrameFault : public Error {
public:
  explicit FrameFault(const char* text) : Error(ErrorKind::kUsage, text) {}
};

class Stylizer {
public:
  explicit Stylizer(const media::RestylerOptions& options);
  ~Stylizer();
  Stylizer(const Stylizer&) = delete;
  Stylizer& operator=(const Stylizer&) = delete;

  void setStyleImage(const InputArray& image, media::PixelLayout layout);
  void prepare(int width, int height);
  void startSequence();
  // Both arrays are in one layout.
  void restyle(const InputArray& input, const OutputArray& output, media::PixelLayout layout, double strength, bool keep_colours);
  media::RestylerReport report();
  bool isClosed() const { return restyler_ == nullptr; }
  void close();

private:
  media::Restyler& open(); // throws Error once closed
  void restyleWithLook(const media::Picture& input, media::Picture& output, double strength, bool keep_colours);

  std::unique_ptr<media::Restyler> restyler_;
  bool is_taken_ = false;
};

} // namespace vorin::python
