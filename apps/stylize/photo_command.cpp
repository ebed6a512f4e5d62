#include "photo_command.h"

#include "argument_checks.h"
#include "batch.h"
#include "commands.h"
#include "image_file.h"
#include "output_file.h"
#include "painter.h"
#include "photo_list.h"
#include "quoted_name.h"
#include "run_report.h"
#include "sheet_command.h"
#include "utf8_path.h"

#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

PhotoResult resultOf(const Arguments& arguments, const Drawing& drawing) {
  return {arguments.photos.front(),
          arguments.output,
          PhotoResult::Outcome::kDone,
          drawing.bgr.size(),
          drawing.elapsed_ms,
          drawing.load_ms,
          {},
          {}};
}

ExitStatus stylizeOne(const Arguments& arguments) {
  if (!isPictureName(arguments.output)) {
    requireExists(arguments.photos.front()); // it might have been meant as a folder, whose drawings go into one
    requirePictureName(arguments.output);
  }
  if (!arguments.to.empty()) {
    throw usage("--to is of no use to a single drawing, whose kind the extension of -o says: leave it out");
  }
  std::error_code error;
  if (arguments.resume && fs::is_regular_file(arguments.output, error)) {
    if (arguments.json) {
      printRun(nullptr, {{arguments.photos.front(), arguments.output, PhotoResult::Outcome::kSkipped, {}, 0, 0, {}, {}}},
               ExitStatus::kDone);
    }
    return ExitStatus::kDone;
  }
  requireNoClip(arguments.photos.front());
  const cv::Mat photo = readPicture(arguments.photos.front());
  requireFits(arguments.output, arguments.size.value_or(photo.size()));
  std::optional<NeuralTools> tools = toolsForStyle(arguments);
  base::OutputFile output(arguments.output, arguments.overwrite);
  Painter painter(arguments, std::move(tools));
  painter.prepare(*arguments.style);
  Progress progress(arguments.progress == ProgressWish::kJson ? ProgressKind::kJson : ProgressKind::kNone, "photos", 1);
  const Drawing drawing = painter.paint(photo);
  output.write(encodePicture(arguments.output, drawing.bgr));
  output.commit();
  progress.update(1);
  progress.finish();
  const Headline headline = painter.headline();
  if (!arguments.quiet) {
    printLine(headline.text());
    printLine(base::utf8Text(arguments.output) + ": " + painter.report(*arguments.style, drawing));
  }
  if (arguments.json) {
    printRun(&headline, {resultOf(arguments, drawing)}, ExitStatus::kDone);
  }
  return ExitStatus::kDone;
}

} // namespace

ExitStatus stylizePhotos(const Arguments& arguments) {
  const bool several = namesSeveral(arguments.photos);
  const bool is_picture = isPictureName(arguments.output);
  if (arguments.style_image && base::isFolder(*arguments.style_image)) {
    if (several) {
      throw usage("--style-image is a folder, and so draws one photo in each look of it: name one photo");
    }
    requirePictureName(arguments.output);
    return makeSheet(arguments);
  }
  if (several && is_picture && !base::isFolder(arguments.output)) {
    throw usage("many photos are drawn into a folder, and " + base::quotedPath(arguments.output) +
                " names a picture: name a folder with -o");
  }
  const bool into_folder = !is_picture && (base::isFolder(arguments.output) || !arguments.output.has_filename());
  return several || into_folder ? stylizeMany(arguments) : stylizeOne(arguments);
}

} // namespace vorin::stylize
