#include "sheet_command.h"

#include "commands.h"
#include "contact_sheet.h"
#include "image_file.h"
#include "option_table.h"
#include "output_file.h"
#include "painter.h"
#include "photo_list.h"
#include "picture_size.h"
#include "quoted_name.h"
#include "run_report.h"
#include "utf8_path.h"

#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

struct StyleImage {
  std::string caption;
  cv::Mat bgr;
};

// The styles and looks of a sheet, with what draws them.
class SheetPainter {
public:
  explicit SheetPainter(const Arguments& arguments)
      : arguments_(arguments), looks_(readLooks(arguments)), painter_(arguments, toolsFor(arguments, looks_)) {
    if (looks_.empty()) {
      for (const Style& style : styles()) {
        painter_.prepare(style);
      }
    }
    if (!arguments.quiet) {
      printLine("styles " + (looks_.empty() ? styleNames() : std::string(transferStyle().name)) + ", " +
                painter_.device().name() + ": " + painter_.device().reason());
    }
  }

  // A photo and its drawings.
  std::vector<SheetPicture> pictures(const fs::path& file, const cv::Mat& photo, std::vector<PhotoResult>& results) {
    std::vector<SheetPicture> all = {{shrunkForSheet(photo), "original"}};
    for (const StyleImage& look : looks_) {
      painter_.setStyleImage(look.bgr);
      all.push_back(draw(file, photo, transferStyle(), look.caption, results));
    }
    if (looks_.empty()) {
      for (const Style& style : styles()) {
        all.push_back(draw(file, photo, style, std::string(style.name), results));
      }
    }
    return all;
  }

  Headline headline() const { return painter_.headline(); }

private:
  // Of a folder of style images; none for any other sheet.
  static std::vector<StyleImage> readLooks(const Arguments& arguments) {
    std::vector<StyleImage> looks;
    if (!arguments.style_image || !base::isFolder(*arguments.style_image)) {
      return looks;
    }
    for (const ListedPhoto& image : listPhotos({*arguments.style_image}, {}).photos) {
      looks.push_back({base::utf8Text(image.file.stem()), readPicture(image.file)});
    }
    if (looks.empty()) {
      throw Failure(ExitStatus::kInputOutput, "there is no image in the --style-image folder " +
                                                  base::quotedPath(*arguments.style_image) + ": name another one");
    }
    return looks;
  }

  static NeuralTools toolsFor(const Arguments& arguments, const std::vector<StyleImage>& looks) {
    ModelPackage package(arguments.models);
    for (const Style& style : styles()) {
      if (style.isNeural() && (looks.empty() || style.takesStyleImage())) {
        package.requireNetwork(style, networkFor(arguments, style));
      }
    }
    if (!looks.empty()) {
      return {package, looks.front().bgr};
    }
    const fs::path painting = package.folder() / "painting.png";
    if (!arguments.style_image && !fs::exists(painting)) {
      throw Failure(ExitStatus::kUsage, "the sheet's style 'transfer' takes the look of a picture, and there is no " +
                                            base::quotedPath(painting) + ": add --style-image with an image file");
    }
    return {package, readPicture(arguments.style_image.value_or(painting))};
  }

  SheetPicture draw(const fs::path& file, const cv::Mat& photo, const Style& style, const std::string& caption,
                    std::vector<PhotoResult>& results) {
    const Drawing drawing = painter_.paint(photo, style);
    if (!arguments_.quiet) {
      printLine(base::utf8Text(file) + ", " + caption + ": " + painter_.report(style, drawing));
    }
    results.push_back({file,
                       arguments_.output,
                       PhotoResult::Outcome::kDone,
                       drawing.bgr.size(),
                       drawing.elapsed_ms,
                       drawing.load_ms,
                       {},
                       caption});
    return {shrunkForSheet(drawing.bgr), caption};
  }

  const Arguments& arguments_;
  std::vector<StyleImage> looks_;
  Painter painter_;
};

} // namespace

ExitStatus makeSheet(const Arguments& arguments) {
  base::OutputFile output(arguments.output, arguments.overwrite);
  const PhotoList list = listPhotos(arguments.photos, {});
  const std::vector<ListedPhoto>& listed = list.photos;
  std::vector<std::vector<SheetPicture>> groups;
  std::vector<PhotoResult> results;
  std::optional<SheetPainter> painter; // made once a photo needs it: a missing photo shows without it
  ExitStatus status = ExitStatus::kDone;
  for (const ListedPhoto& each : listed) {
    cv::Mat photo;
    try {
      photo = readPicture(each.file);
    } catch (const Failure& failure) {
      if (listed.size() == 1) {
        throw;
      }
      printLine(failure.what());
      results.push_back({each.file, arguments.output, PhotoResult::Outcome::kFailed, {}, 0, 0, failure.what(), {}});
      status = ExitStatus::kSomeInputsFailed;
      continue;
    }
    if (!painter) {
      painter.emplace(arguments);
    }
    groups.push_back(painter->pictures(each.file, photo, results));
  }
  if (groups.empty()) {
    throw Failure(ExitStatus::kInputOutput, "none of the photos can be read: no sheet made");
  }
  tellOfClips(list);
  const cv::Mat sheet = makeContactSheet(groups);
  requireFits(arguments.output, sheet.size());
  output.write(encodePicture(arguments.output, sheet));
  output.commit();
  if (!arguments.quiet) {
    printLine(base::utf8Text(arguments.output) + ": sheet of " + sizeText(sheet.size()) + " pixels");
  }
  if (arguments.json) {
    const Headline headline = painter->headline();
    printRun(&headline, results, status);
  }
  return status;
}

} // namespace vorin::stylize
