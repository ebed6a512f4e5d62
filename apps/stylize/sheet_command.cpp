#include "cancellation.h"
#include "contact_sheet.h"
#include "model_package.h"
#include "options.h"
#include "output_file.h"
#include "picture_mat.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;
using media::Style;

constexpr std::array kStyles = {Style::kPencilSketch, Style::kStippling, Style::kLightGrey, Style::kCartoon, Style::kTransfer};

struct StyleImage {
  std::string caption;
  media::Picture picture;
};

// The styles and looks of a sheet, and the restyler for them.
class SheetStyles {
public:
  explicit SheetStyles(const Options& options)
      : options_(options), looks_(readLooks(options)), look_(options.strength, options.keep_colours),
        restyler_(optionsFor(options, looks_)) {
    for (const Style style : styles()) {
      restyler_.setStyle(style, style == Style::kTransfer ? options.restyler.network : ""); // throws if its network is missing
    }
    if (looks_.empty()) {
      const fs::path style_image = defaultStyleImage();
      media::requireNotRead(options.output, {style_image});
      restyler_.setStyleImage(media::readImage(style_image, options.source));
    }
    if (!options.quiet) {
      printLine(std::string("styles ") + (looks_.empty() ? "pencil, stipple, lightgrey, cartoon, transfer" : "transfer") + ", " +
                report().device + ": " + report().device_reason);
    }
  }

  media::RestylerReport report() const { return restyler_.report(); }

  // An image and its results.
  std::vector<SheetPicture> pictures(const fs::path& file, const media::Picture& image, std::vector<InputResult>& results) {
    std::vector<SheetPicture> all = {{shrunkForSheet(media::bgrOf(image)), "original"}};
    for (const StyleImage& look : looks_) {
      restyler_.setStyleImage(look.picture);
      all.push_back(restyled(file, image, Style::kTransfer, look.caption, results));
    }
    if (looks_.empty()) {
      for (const Style style : kStyles) {
        all.push_back(restyled(file, image, style, std::string(media::nameOf(style)), results));
      }
    }
    return all;
  }

private:
  std::vector<Style> styles() const {
    return looks_.empty() ? std::vector<Style>(kStyles.begin(), kStyles.end()) : std::vector{Style::kTransfer};
  }

  static media::RestylerOptions optionsFor(const Options& options, const std::vector<StyleImage>& looks) {
    media::RestylerOptions restyler = options.restyler;
    restyler.style = looks.empty() ? kStyles.front() : Style::kTransfer;
    restyler.network = looks.empty() ? "" : options.restyler.network;
    return restyler;
  }

  // The looks of a folder of style images; none for any other sheet.
  static std::vector<StyleImage> readLooks(const Options& options) {
    std::vector<StyleImage> looks;
    if (!base::isFolder(options.style_image)) {
      return looks;
    }
    for (const Input& image : listInputs({options.style_image}, {}, false)) {
      media::requireNotRead(options.output, {image.file});
      looks.push_back({base::utf8Text(image.file.stem()), media::readImage(image.file, options.source)});
    }
    if (looks.empty()) {
      throw Error(ErrorKind::kInputOutput, "there is no image in the --style-image folder " +
                                               base::quotedPath(options.style_image) + ": name another one");
    }
    return looks;
  }

  fs::path defaultStyleImage() const {
    if (!options_.style_image.empty()) {
      return options_.style_image;
    }
    fs::path style_image = report().package.parent_path() / "painting.png";
    if (!fs::exists(style_image)) {
      throw Error(ErrorKind::kUsage, "the sheet's style 'transfer' needs a picture whose look to use, and there is no " +
                                         base::quotedPath(style_image) + ": add --style-image with an image file");
    }
    return style_image;
  }

  SheetPicture restyled(const fs::path& file, const media::Picture& image, Style style, const std::string& caption,
                        std::vector<InputResult>& results) {
    restyler_.setStyle(style, style == Style::kTransfer ? options_.restyler.network : "");
    restyler_.startSequence();
    prepareQuietly(restyler_, image.size());
    base::throwIfCancelled();
    const double load_ms = report().load_ms;
    media::Picture picture = restyler_.restyle(image);
    look_.apply(image, picture);
    InputResult result;
    result.input = file;
    result.output = options_.output;
    result.size = picture.size();
    result.restyler = report();
    result.restyler.load_ms = load_ms;
    result.caption = caption;
    results.push_back(result);
    if (!options_.quiet) {
      printLine(base::utf8Text(file) + ", " + caption + ": " + resultText(result));
    }
    return {shrunkForSheet(media::bgrOf(picture)), caption};
  }

  const Options& options_;
  std::vector<StyleImage> looks_;
  media::Look look_;
  media::Restyler restyler_;
};

void writeSheet(const Options& options, const cv::Mat& sheet) {
  const std::unique_ptr<media::Sink> sink = media::openImageSink(options.output, {}, {sheet.cols, sheet.rows}, options.sink);
  sink->write(media::Frame{media::pictureFromBgr(sheet), 0, 1});
  sink->finish();
  if (!options.quiet) {
    printLine(base::utf8Text(options.output) + ": sheet of " + media::sizeText(sink->size()) + " pixels");
  }
}

} // namespace

ExitStatus makeSheet(const Options& options) {
  if (!media::isImageName(options.output)) {
    throw Error(ErrorKind::kUsage, "the output " + base::quotedPath(options.output) +
                                       " has no file extension of an image: use one of " +
                                       base::joined(media::imageExtensions()));
  }
  base::requireWritable(options.output, options.sink.overwrite);
  const std::vector<Input> inputs = listInputs(options.inputs, {}, false);
  for (const Input& input : inputs) {
    media::requireNotRead(options.output, {input.file});
  }
  std::vector<std::vector<SheetPicture>> groups;
  std::vector<InputResult> results;
  std::optional<SheetStyles> styles; // made when an image needs it, so that a missing image is reported first
  ExitStatus status = ExitStatus::kDone;
  for (const Input& input : inputs) {
    media::Picture image;
    try {
      image = media::readImage(input.file, options.source);
    } catch (const Error& error) {
      if (inputs.size() == 1) {
        throw;
      }
      printLine(error.what());
      InputResult result;
      result.input = input.file;
      result.output = options.output;
      result.outcome = InputResult::Outcome::kFailed;
      result.error = error.what();
      results.push_back(result);
      status = ExitStatus::kSomeInputsFailed;
      continue;
    }
    if (!styles) {
      styles.emplace(options);
    }
    groups.push_back(styles->pictures(input.file, image, results));
  }
  if (groups.empty()) {
    throw Error(ErrorKind::kInputOutput, "none of the images can be read: no sheet made");
  }
  writeSheet(options, makeContactSheet(groups));
  if (options.json) {
    nlohmann::ordered_json taken = jsonOf(styles->report());
    if (!base::isFolder(options.style_image)) { // the sheet shows all styles, so no single one is reported
      taken["style"] = taken["network"] = nullptr;
    }
    printRun(taken, results, status);
  }
  return status;
}

} // namespace vorin::stylize
