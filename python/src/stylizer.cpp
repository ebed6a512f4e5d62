#include "stylizer.h"

#include "native_call.h"

namespace vorin::python {
namespace {

using media::Picture;
using media::PixelLayout;

constexpr const char* kWhat = "stylizer";

} // namespace

Stylizer::Stylizer(const media::RestylerOptions& options) {
  const NativeCall call;
  restyler_ = std::make_unique<media::Restyler>(options);
}

Stylizer::~Stylizer() {
  keepIfForked(restyler_);
}

media::Restyler& Stylizer::open() {
  if (restyler_ == nullptr) {
    throw Error(ErrorKind::kUsage, "the stylizer is closed: make another one");
  }
  return *restyler_;
}

void Stylizer::setStyleImage(const InputArray& image, PixelLayout layout) {
  const Turn turn(is_taken_, kWhat);
  media::Restyler& restyler = open();
  const Picture picture = pictureOver(image, layout);
  const NativeCall call;
  restyler.setStyleImage(picture);
}

void Stylizer::prepare(int width, int height) {
  const Turn turn(is_taken_, kWhat);
  media::Restyler& restyler = open();
  const NativeCall call;
  restyler.prepare({width, height});
}

void Stylizer::startSequence() {
  const Turn turn(is_taken_, kWhat);
  open().startSequence();
}

void Stylizer::restyle(const InputArray& input, const OutputArray& output, PixelLayout layout, double strength,
                       bool keep_colours) {
  const Turn turn(is_taken_, kWhat);
  media::Restyler& restyler = open();
  const Picture source = pictureOver(input, layout);
  Picture result = pictureOver(output, layout);
  const NativeCall call;
  try {
    if (strength == 1 && !keep_colours) {
      restyler.restyle(source, result);
    } else {
      restyleWithLook(source, result, strength, keep_colours);
    }
  } catch (const Error& error) {
    if (error.kind() != ErrorKind::kUsage) {
      throw;
    }
    throw FrameFault(error.what());
  }
}

void Stylizer::restyleWithLook(const Picture& input, Picture& output, double strength, bool keep_colours) {
  media::Look look(strength, keep_colours);
  const PixelLayout layout = input.layout() == PixelLayout::kNv12 ? PixelLayout::kNv12 : PixelLayout::kBgra; // those of the look
  Picture converted(layout, input.size());
  if (layout != input.layout()) {
    media::convert(input, converted);
  }
  const Picture& source = layout != input.layout() ? converted : input;
  Picture result(layout, output.size());
  restyler_->restyle(source, result);
  look.apply(source, result);
  media::convert(result, output);
}

media::RestylerReport Stylizer::report() {
  const Turn turn(is_taken_, kWhat);
  return open().report();
}

void Stylizer::close() {
  const Turn turn(is_taken_, kWhat);
  closeUnlocked(restyler_);
}

} // namespace vorin::python
