// The options of clips: their rows, and their values checked.
#include "argument_checks.h"
#include "clip_command.h"
#include "clip_writer.h"
#include "pipe_format.h"
#include "utf8_path.h"

#include <charconv>

namespace vorin::stylize {
namespace {

constexpr const char* kSection = "Clips and pipes";

} // namespace

const char* const kClipFooter = R"(
Clips keep their sound, subtitles, time stamps, colour tags and rotation. They
are written 8 bits deep, as H.264 unless --codec says otherwise. A pipe carries
Y4M (ffmpeg: -f yuv4mpegpipe) or what --raw names, and no sound.

Examples for clips:
  vorin-stylize clip.mp4 -o drawn.mp4 --style cartoon
  vorin-stylize clip.mp4 -o drawn.mp4 --style pencil --steady
  vorin-stylize clip.mkv -o drawn.mkv --style stipple --codec h265 --crf 28
  ffmpeg -i clip.mp4 -f yuv4mpegpipe - |
    vorin-stylize - -o drawn.mp4 --style pencil
)";

bool isClip(const std::string& input, const std::string& output) {
  return input == kPipe || output == kPipe || media::isClipName(base::pathFromUtf8(output));
}

std::string clipExtensions() {
  return media::clipExtensions();
}

std::vector<OptionRow> clipOptionRows() {
  return {
      {"--codec", &RawArguments::codec, "NAME",
       "How to encode the clip: h264 (default), h265, vp9,\nav1, or the name of an encoder of libavcodec", kForStylize, kSection},
      {"--crf", &RawArguments::crf, "N",
       "Its quality: 0 is best; each 6 more about halve a\nfile of h264 or h265. Default:\n" + media::usualQualities(),
       kForStylize, kSection},
      {"--raw", &RawArguments::raw, "KIND",
       "What goes through the pipe -, such as\nnv12:1280x720@30 (default: Y4M); the pixels are\n" + media::rawPixelNames(),
       kForStylize, kSection},
      {"--steady", &RawArguments::steady, "",
       "Calm the flicker: what the scene keeps from frame to\nframe, the drawing keeps; it moves with the scene", kForStylize,
       kSection},
  };
}

ClipOptions checkedClipOptions(const RawArguments& raw) {
  ClipOptions options;
  options.codec = raw.codec.empty() ? "h264" : raw.codec;
  options.steady = raw.steady;
  const bool reads_pipe = !raw.photos.empty() && raw.photos.front() == kPipe;
  const bool writes_pipe = raw.output == kPipe;
  if (!raw.crf.empty()) {
    int crf = 0;
    const char* end = raw.crf.data() + raw.crf.size();
    if (const auto [at, error] = std::from_chars(raw.crf.data(), end, crf); error != std::errc() || at != end) {
      throw usage("--crf '" + raw.crf + "' is no whole number: use one from 0, which is best");
    }
    options.crf = crf;
  }
  if (!raw.raw.empty() && !reads_pipe && !writes_pipe) {
    throw usage("--raw is of no use without a pipe: leave it out, or name - as the input or the output");
  }
  if (writes_pipe && !(raw.codec.empty() && raw.crf.empty())) {
    throw usage("--codec and --crf are of no use to the output -, which is not encoded: leave them out");
  }
  if (!raw.raw.empty()) {
    options.raw = raw.raw;
  }
  try {
    if (options.raw) {
      static_cast<void>(media::parseRawFormat(*options.raw));
    }
    if (!writes_pipe && !raw.output.empty()) {
      media::checkClipCodec(base::pathFromUtf8(raw.output), {options.codec, options.crf, raw.overwrite});
    }
  } catch (const media::OptionError& error) {
    throw usage(error.what());
  }
  return options;
}

} // namespace vorin::stylize
