#include "media_files.h"

#include "native_call.h"

#include <utility>
#include <variant>

namespace vorin::python {
namespace {

namespace nb = nanobind;
using media::Frame;
using media::Item;
using media::Picture;
using media::PixelLayout;

constexpr const char* kWhat = "reader of frames";

// Throws what a signal handler of Python or on_progress raises.
void report(const media::Progress& progress, const nb::object& on_progress) {
  const nb::gil_scoped_acquire locked;
  if (PyErr_CheckSignals() != 0) {
    throw nb::python_error();
  }
  if (callsAreEnding()) {
    throw CallError(CallFault::kEnding);
  }
  if (!on_progress.is_none()) {
    const auto expected = progress.frames_expected;
    on_progress(progress.frames_done, expected ? nb::object(nb::int_(*expected)) : nb::object(nb::none()));
  }
}

} // namespace

FrameReader::FrameReader(const std::string& file, PixelLayout layout) : layout_(layout) {
  const NativeCall call;
  source_ = media::openSource(file);
}

FrameReader::~FrameReader() {
  keepIfForked(source_);
}

media::SourceInfo FrameReader::info() {
  const Turn turn(is_taken_, kWhat);
  if (source_ == nullptr) {
    throw Error(ErrorKind::kUsage, "the file is closed: open it again");
  }
  return source_->info();
}

std::optional<Frame> FrameReader::readFrame() {
  while (std::optional<Item> item = source_->next()) {
    if (auto* frame = std::get_if<Frame>(&*item)) {
      if (frame->picture.layout() != layout_) {
        Picture converted(layout_, frame->picture.size());
        media::convert(frame->picture, converted);
        frame->picture = std::move(converted);
      }
      return std::move(*frame);
    }
  }
  return std::nullopt;
}

nb::object FrameReader::next() {
  const media::Rational base = info().time_base;
  const Turn turn(is_taken_, kWhat);
  std::optional<Frame> frame;
  {
    const NativeCall call;
    frame = readFrame();
  }
  if (!frame) {
    damage_ = source_->damage();
    closeUnlocked(source_);
    return nb::none();
  }
  const auto seconds = [&](std::int64_t time) { return static_cast<double>(time) * base.num / base.den; };
  return nb::make_tuple(arrayOf(std::move(frame->picture)), seconds(frame->time), seconds(frame->duration));
}

void FrameReader::close() {
  const Turn turn(is_taken_, kWhat);
  closeUnlocked(source_);
}

media::FileResult stylizeFile(const std::string& input, const std::string& output, const media::Recipe& recipe,
                              const nb::object& on_progress) {
  const NativeCall call;
  return media::restyleFile(input, output, recipe,
                            {nullptr, [&](const media::Progress& progress) { report(progress, on_progress); }});
}

} // namespace vorin::python
