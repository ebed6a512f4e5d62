// Reads a clip, changes it by an effect and writes it, for tests; and catches the error of a call.
#pragma once

#include "vorin_media.hpp"

#include <algorithm>
#include <functional>

namespace vorin::media {

// Changes each frame's picture in place.
class FunctionEffect final : public Effect {
public:
  explicit FunctionEffect(std::function<void(Picture&)> change) : change_(std::move(change)) {}

  void apply(const Picture& /*source*/, Picture& picture) override {
    picture = picture.copy();
    change_(picture);
  }

private:
  std::function<void(Picture&)> change_;
};

inline RunResult restyle(const std::filesystem::path& clip, const std::filesystem::path& output, const SinkOptions& options = {},
                         Effect* effect = nullptr, const SourceOptions& part = {}, const RunOptions& run_options = {}) {
  const std::unique_ptr<Source> source = openSource(clip, part);
  const std::unique_ptr<Sink> sink = openSink(output, source->info(), source->info().size, options);
  const std::vector<Effect*> effects(effect == nullptr ? 0 : 1, effect);
  return run(*source, *sink, effects, run_options);
}

inline RestylerOptions softwareOptions(Style style, const std::filesystem::path& models) {
  return {.style = style, .network = {}, .models = models, .size = {}, .device = Device::kSoftware};
}

inline void writeImage(const std::filesystem::path& file, Picture picture, const SinkOptions& options = {},
                       const SourceInfo& info = {}) {
  const std::unique_ptr<Sink> sink = openSink(file, info, picture.size(), options);
  sink->write(Frame{std::move(picture)});
  sink->finish();
}

// An image of no pattern.
inline void writeChanging(const std::filesystem::path& file, Size size) {
  Picture picture(PixelLayout::kBgra, size);
  std::generate_n(picture.pixels(), picture.byteCount(),
                  [value = 0]() mutable { return static_cast<std::uint8_t>(value += 77); });
  writeImage(file, std::move(picture));
}

inline Error errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    return error;
  }
  return {ErrorKind::kBusy, "no error"};
}

} // namespace vorin::media
