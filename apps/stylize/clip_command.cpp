#include "clip_command.h"

#include "argument_checks.h"
#include "cancellation.h"
#include "clip_look.h"
#include "clip_reader.h"
#include "clip_steadying.h"
#include "clip_writer.h"
#include "commands.h"
#include "drawing_manner.h"
#include "exit_status.h"
#include "lost_drawing.h"
#include "output_path.h"
#include "picture_planes.h"
#include "picture_size.h"
#include "pipe_video.h"
#include "pipeline.h"
#include "run_report.h"
#include "utf8_path.h"

#include <opencv2/core.hpp>

#include <chrono>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

bool isPipe(const fs::path& file) {
  return file == kPipe;
}

media::ClipWriterOptions writerOptions(const Arguments& arguments) {
  media::ClipWriterOptions options;
  options.codec = arguments.clip->codec;
  options.crf = arguments.clip->crf;
  options.overwrite = arguments.overwrite;
  return options;
}

std::optional<media::RawFormat> rawFormat(const Arguments& arguments) {
  return arguments.clip->raw ? std::optional(media::parseRawFormat(*arguments.clip->raw)) : std::nullopt;
}

std::unique_ptr<media::FrameSource> openSource(const Arguments& arguments) {
  const fs::path& input = arguments.photos.front();
  // Where nothing of the drawing is to be seen, the source comes back as exactly as its layout allows.
  const bool is_source_only = arguments.look.strength == 0 && !arguments.size;
  const media::PictureColours colours = is_source_only ? media::PictureColours::kOwn : media::PictureColours::kLibrary;
  if (isPipe(input)) {
    return std::make_unique<media::PipeReader>(STDIN_FILENO, rawFormat(arguments), colours);
  }
  return std::make_unique<media::ClipReader>(input, colours);
}

std::unique_ptr<media::FrameSink> openSink(const Arguments& arguments, const media::VideoInfo& source, media::Size size) {
  if (isPipe(arguments.output)) {
    const std::optional<media::RawFormat> raw = rawFormat(arguments);
    if (raw && !isPipe(arguments.photos.front()) && raw->size != size) {
      throw usage("--raw '" + *arguments.clip->raw + "' is not the size of the frames, " + sizeText({size.width, size.height}) +
                  ": name that one, or ask for another with --size");
    }
    return std::make_unique<media::PipeWriter>(STDOUT_FILENO, source, size, raw ? std::optional(raw->pixels) : std::nullopt);
  }
  return std::make_unique<media::ClipWriter>(arguments.output, source, size, writerOptions(arguments));
}

SttFrame descriptorOf(const media::Picture& picture) {
  const bool is_nv12 = picture.layout == media::PixelLayout::kNv12;
  const auto width = static_cast<std::uint32_t>(picture.size.width);
  SttFrame descriptor{};
  descriptor.memoryType = VORIN_MEM_SYSTEM;
  descriptor.data = const_cast<std::uint8_t*>(picture.bytes.data()); // written to only where the frame is an output
  descriptor.pixelFormat = is_nv12 ? VORIN_FMT_NV12 : VORIN_FMT_BGRA;
  descriptor.width = width;
  descriptor.height = static_cast<std::uint32_t>(picture.size.height);
  descriptor.pitch = is_nv12 ? width : width * 4;
  return descriptor;
}

// The luma of NV12, all of BGRA: enough to tell whether there is anything to see.
cv::Mat looksOf(const media::Picture& picture) {
  return picture.layout == media::PixelLayout::kNv12 ? planesOf(picture).luma : bgraPixelsOf(picture);
}

media::FrameEffect drawingBy(ChosenDevice& device, const Arguments& arguments) {
  // Shared, since what a std::function holds must be copyable.
  const auto steadying = arguments.clip->steady ? std::make_shared<ClipSteadying>(*arguments.style) : nullptr;
  return [&device, steadying, look = arguments.look](const media::VideoFrame& frame, media::Picture& drawing) {
    std::future<void> motion = steadying ? steadying->see(frame.picture, drawing.size) : std::future<void>();
    SttFrame output = descriptorOf(drawing);
    device.drawClipFrame(descriptorOf(frame.picture), output);
    if (isLostDrawing(looksOf(frame.picture), looksOf(drawing))) {
      throw Failure(ExitStatus::kDevice, "the device delivers one colour instead of a drawing: use another --device");
    }
    if (steadying) {
      motion.get();
      steadying->apply(drawing);
    }
    applyLook(look, frame.picture, drawing);
  };
}

std::string sinkName(const Arguments& arguments) {
  return isPipe(arguments.output) ? "standard output" : base::utf8Text(arguments.output);
}

struct ClipReport {
  Headline headline;
  cv::Size size;
  media::PipelineResult result;
  std::vector<std::string> warnings;
  double elapsed_s = 0;

  double framesPerSecond() const { return elapsed_s > 0 ? static_cast<double>(result.frames) / elapsed_s : 0; }
};

void printReport(const Arguments& arguments, const ClipReport& report) {
  if (report.result.cancelled && report.result.frames == 0) {
    printLine(sinkName(arguments) + ": no frame of this run");
    return;
  }
  std::ostringstream line;
  line << sinkName(arguments) << ": " << sizeText(report.size) << ", " << arguments.style->name << ", " << report.result.frames
       << (report.result.frames == 1 ? " frame" : " frames") << ", " << std::fixed << std::setprecision(1)
       << report.framesPerSecond() << " frames per second";
  printLine(line.str());
}

void printJsonReport(const Arguments& arguments, const ClipReport& report, ExitStatus status) {
  const bool cancelled = report.result.cancelled || cancellationIsDue(); // perhaps only while the file was closed
  nlohmann::ordered_json json = jsonOf(report.headline);
  json["input"] = base::utf8Text(arguments.photos.front());
  json["output"] = base::utf8Text(arguments.output);
  json["width"] = report.size.width;
  json["height"] = report.size.height;
  json["frames"] = report.result.frames;
  json["frames_per_second"] = report.framesPerSecond();
  json["cancelled"] = cancelled;
  json["warnings"] = report.warnings;
  json["damage"] = report.result.damage;
  json["exit_status"] = static_cast<int>(cancelled ? ExitStatus::kCancelled : status);
  printJson(json);
  std::cout.flush(); // before cancellation ends the program
}

// Damage of the source and what the output lacks.
ExitStatus tellShortcomings(const std::vector<std::string>& warnings, const std::vector<std::string>& damage) {
  for (const auto* lines : {&warnings, &damage}) {
    for (const std::string& line : *lines) {
      printLine(line);
    }
  }
  return damage.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
}

// What the media library throws, as the program's own kind.
template <typename Action> ExitStatus withFailures(Action action) {
  try {
    return action();
  } catch (const media::OptionError& error) {
    throw usage(error.what());
  } catch (const media::MediaError& error) {
    throw Failure(ExitStatus::kInputOutput, error.what());
  }
}

ExitStatus drawFrames(const Arguments& arguments, ChosenDevice& device, media::FrameSource& source,
                      std::unique_ptr<media::FrameSink>& sink, ClipReport& report) {
  const auto start = std::chrono::steady_clock::now();
  sink = openSink(arguments, source.info(), {report.size.width, report.size.height});
  if (!arguments.quiet) {
    printLine(report.headline.text());
  }
  Progress progress(progressKind(arguments.progress, arguments.quiet), "frames", source.info().frames_expected);
  report.result =
      media::runPipeline(source, *sink, drawingBy(device, arguments),
                         {cancellationIsDue(), [&](const media::Progress& now) { progress.update(now.frames_done); }});
  if (report.result.cancelled) {
    progress.finish();
  } else {
    progress.finishAll(report.result.frames);
  }
  report.elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  report.warnings = sink->warnings();
  if (!arguments.quiet) {
    printReport(arguments, report);
  }
  const ExitStatus status = tellShortcomings(report.warnings, report.result.damage);
  if (arguments.json) {
    printJsonReport(arguments, report, status);
  }
  return status;
}

// source: null where it is a pipe, which is not touched before the device is sure: a program that starts again on another one
// would find the pipe's begin gone.
ExitStatus drawClip(const Arguments& arguments, std::unique_ptr<media::FrameSource> source) {
  const std::optional<NeuralTools> tools = toolsForStyle(arguments);
  const Manner manner = mannerOf(arguments, *arguments.style, tools ? &*tools : nullptr);
  ChosenDevice device(arguments.device);
  device.prepare(*manner.style);
  if (source == nullptr) {
    source = openSource(arguments);
  }
  const media::Size frame_size = source->info().size;
  const cv::Size size = arguments.size.value_or(cv::Size(frame_size.width, frame_size.height));
  ClipReport report = {headlineOf(manner, device), size, {}, {}, 0};
  device.beginClip(manner, size);

  // Destroyed last: a cancelled process ends where the waiting does, and never waits for an encoder to go.
  std::unique_ptr<media::FrameSink> sink;
  const CancellationWaits until_the_output_is_closed;
  try {
    return withFailures([&] { return drawFrames(arguments, device, *source, sink, report); });
  } catch (const Failure& failure) {
    if (cancellationIsDue()) { // and comes before main could tell
      printLine(failure.what());
      printFailure(arguments, failure);
    }
    throw;
  }
}

} // namespace

ExitStatus stylizeClip(const Arguments& arguments) {
  if (arguments.style_image && base::isFolder(*arguments.style_image)) {
    throw usage("--style-image is a folder, and a clip is drawn in one look: name an image file in it");
  }
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // a reader that ends is an error of the output, with a line
  if (isPipe(arguments.output) && isatty(STDOUT_FILENO) != 0) {
    throw usage("the output - is a terminal, which cannot show frames: put a program behind it");
  }
  return withFailures([&] {
    if (!isPipe(arguments.output)) {
      base::requireWritable(arguments.output, arguments.overwrite);
    }
    return drawClip(arguments, isPipe(arguments.photos.front()) ? nullptr : openSource(arguments));
  });
}

} // namespace vorin::stylize
