#include "commands.h"

#include "clip_command.h"
#include "contact_sheet.h"
#include "drawing_manner.h"
#include "image_file.h"
#include "picture_size.h"
#include "safe_output.h"
#include "utf8_path.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace vorin::stylize {
namespace {

std::string millisecondsText(double elapsed_ms) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << elapsed_ms;
  return text.str();
}

// The network at work, for the user: "network 512", or for one that takes any size "network 640x480".
std::string networkText(const Manner& manner, const Drawing& drawing) {
  const std::string_view name = manner.network->name;
  return "network " + (name.empty() ? sizeText(drawing.network_size) : std::string(name));
}

// The drawing as the user gets told about it.
void report(const Arguments& arguments, const std::string& subject, const Manner& manner, const Drawing& drawing,
            const std::string& device) {
  if (arguments.quiet) {
    return;
  }
  std::string line = subject + ": " + sizeText(drawing.bgr.size()) + ", " + std::string(manner.style->name) + ", ";
  if (manner.network != nullptr) {
    line += networkText(manner, drawing) + ", ";
  }
  line += device + ", " + millisecondsText(drawing.elapsed_ms) + " ms per frame";
  if (manner.network != nullptr) {
    line += ", loaded in " + millisecondsText(drawing.load_ms) + " ms";
  }
  printLine(line);
}

ExitStatus stylizePhoto(const Arguments& arguments) {
  const cv::Mat photo = readPicture(arguments.photos.front());
  requireFits(arguments.output, arguments.size.value_or(photo.size()));
  std::optional<NeuralTools> tools;
  if (arguments.style->isNeural()) {
    tools = toolsForStyle(arguments);
  }
  SafeOutput output(arguments.output, arguments.overwrite);
  ChosenDevice device(arguments.device);
  const Manner manner = mannerOf(arguments, *arguments.style, tools ? &*tools : nullptr);
  const Drawing drawing = device.draw(photo, manner);
  output.commit(encodePicture(arguments.output, drawing.bgr));
  report(arguments, tools::utf8Text(arguments.output), manner, drawing, device.name());
  return ExitStatus::kDone;
}

NeuralTools toolsForSheet(const Arguments& arguments) {
  ModelPackage package(arguments.models);
  for (const Style& style : styles()) {
    if (style.isNeural()) {
      package.requireNetwork(style, networkFor(arguments, style));
    }
  }
  const std::filesystem::path painting = package.folder() / "painting.png";
  if (!arguments.style_image && !std::filesystem::exists(painting)) {
    throw Failure(ExitStatus::kUsage, "the sheet's style 'transfer' takes the look of a picture, and there is no '" +
                                          tools::utf8Text(painting) + "': add --style-image with an image file");
  }
  return {package, readPicture(arguments.style_image.value_or(painting))};
}

std::vector<SheetPicture> sheetPictures(const Arguments& arguments, const std::filesystem::path& file, const cv::Mat& photo,
                                        const NeuralTools& tools, ChosenDevice& device) {
  std::vector<SheetPicture> pictures = {{shrunkForSheet(photo), "original"}};
  for (const Style& style : styles()) {
    const Manner manner = mannerOf(arguments, style, &tools);
    const Drawing drawing = device.draw(photo, manner);
    report(arguments, tools::utf8Text(file), manner, drawing, device.name());
    pictures.push_back({shrunkForSheet(drawing.bgr), std::string(style.name)});
  }
  return pictures;
}

ExitStatus makeSheet(const Arguments& arguments) {
  SafeOutput output(arguments.output, arguments.overwrite);
  std::vector<std::vector<SheetPicture>> photos;
  std::optional<NeuralTools> tools;
  std::optional<ChosenDevice> device; // both made once a photo needs them: a missing photo shows without them
  bool some_failed = false;
  for (const auto& file : arguments.photos) {
    cv::Mat photo;
    try {
      photo = readPicture(file);
    } catch (const Failure& failure) {
      if (arguments.photos.size() == 1) {
        throw;
      }
      printLine(failure.what());
      some_failed = true;
      continue;
    }
    if (!device) {
      tools = toolsForSheet(arguments);
      device.emplace(arguments.device);
    }
    photos.push_back(sheetPictures(arguments, file, photo, *tools, *device));
  }
  if (photos.empty()) {
    throw Failure(ExitStatus::kInputOutput, "none of the photos can be read: no sheet made");
  }
  const cv::Mat sheet = makeContactSheet(photos);
  requireFits(arguments.output, sheet.size());
  output.commit(encodePicture(arguments.output, sheet));
  if (!arguments.quiet) {
    printLine(tools::utf8Text(arguments.output) + ": sheet of " + sizeText(sheet.size()) + " pixels");
  }
  return some_failed ? ExitStatus::kSomeInputsFailed : ExitStatus::kDone;
}

ExitStatus listDevices() {
  const std::vector<Gpu> gpus = Stylizer().gpus();
  for (const Gpu& gpu : gpus) {
    std::cout << kindName(gpu.kind) << '\t' << gpu.name << '\n';
  }
  if (gpus.empty()) {
    printLine("no GPU found: --device software, or auto, draws on this machine's processor");
  }
  return ExitStatus::kDone;
}

ExitStatus printVersions() {
  const SttVersion library = Stylizer().version();
  std::cout << "vorin-stylize " << VORIN_STYLIZE_VERSION << "\nvorin_stt " << library.major << '.' << library.minor << '\n';
  return ExitStatus::kDone;
}

ExitStatus run(const Arguments& arguments) {
  switch (arguments.command) {
  case Command::kStylize:
    return arguments.clip ? stylizeClip(arguments) : stylizePhoto(arguments);
  case Command::kSheet:
    return makeSheet(arguments);
  case Command::kDevices:
    return listDevices();
  case Command::kVersion:
    return printVersions();
  case Command::kHelp:
    break;
  }
  std::cout << arguments.help;
  return ExitStatus::kDone;
}

} // namespace

ExitStatus runCommand(const Arguments& arguments) {
  const ExitStatus status = run(arguments);
  if (!std::cout.flush()) {
    throw Failure(ExitStatus::kInputOutput, "standard output cannot be written: make room or choose another target");
  }
  return status;
}

void printLine(const std::string& text) {
  std::string line = "vorin-stylize: " + text;
  std::replace_if(
      line.begin(), line.end(), [](char letter) { return letter == '\n' || letter == '\r'; }, ' ');
  std::cerr << line + "\n";
}

} // namespace vorin::stylize
