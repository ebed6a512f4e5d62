// A host program in C++ on the media library: restyles a clip, shows the progress, and ends early on Ctrl-C.
//   restyle_a_clip INPUT OUTPUT
#include <atomic>
#include <csignal>
#include <cstdio>
#include <vorin_media.hpp>

namespace media = vorin::media;

static std::atomic<bool> cancelled = false;

int main(int count, char** arguments) try {
  if (count != 3) {
    std::fputs("usage: restyle_a_clip INPUT OUTPUT\n", stderr);
    return 2;
  }
  std::signal(SIGINT, [](int) { cancelled = true; });
  const auto source = media::openSource(arguments[1]);
  media::Restyler restyler({.style = media::Style::kPencilSketch});
  media::Effect* const effects[] = {&restyler};
  const auto sink = media::openSink(arguments[2], source->info(), media::resultSize(source->info(), effects));
  const media::RunResult result =
      media::run(*source, *sink, effects, {&cancelled, [](const media::Progress& progress) {
                                             std::fprintf(stderr, "\r%lld frames", static_cast<long long>(progress.frames_done));
                                           }});
  std::printf("%lld frames on %s\n", static_cast<long long>(result.frames), restyler.report().device.c_str());
  return result.cancelled ? 130 : 0;
} catch (const std::exception& error) { // a vorin::Error says what to do
  std::fprintf(stderr, "restyle_a_clip: %s\n", error.what());
  return 1;
}
