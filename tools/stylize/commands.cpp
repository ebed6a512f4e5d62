#include "commands.h"

#include "contact_sheet.h"
#include "image_file.h"
#include "picture_size.h"
#include "safe_output.h"

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

// The drawing as the user gets told about it.
void report(const Arguments& arguments, const std::string& subject, const Style& style, const Drawing& drawing,
            const std::string& device) {
  if (!arguments.quiet) {
    printLine(subject + ": " + sizeText(drawing.bgr.size()) + ", " + std::string(style.name) + ", " + device + ", " +
              millisecondsText(drawing.elapsed_ms) + " ms per frame");
  }
}

ExitStatus stylizePhoto(const Arguments& arguments) {
  const cv::Mat photo = readPicture(arguments.photos.front());
  requireFits(arguments.output, arguments.size.value_or(photo.size()));
  SafeOutput output(arguments.output, arguments.overwrite);
  ChosenDevice device(arguments.device);
  const Drawing drawing = device.prepared(*arguments.style).draw(photo, *arguments.format, arguments.size);
  output.commit(encodePicture(arguments.output, drawing.bgr));
  report(arguments, arguments.output.string(), *arguments.style, drawing, device.name());
  return ExitStatus::kDone;
}

std::vector<SheetPicture> sheetRow(const Arguments& arguments, const std::filesystem::path& file, const cv::Mat& photo,
                                   ChosenDevice& device) {
  std::vector<SheetPicture> row = {{shrunkForSheet(photo), "original"}};
  for (const Style& style : styles()) {
    const Drawing drawing = device.prepared(style).draw(photo, *arguments.format, std::nullopt);
    report(arguments, file.string(), style, drawing, device.name());
    row.push_back({shrunkForSheet(drawing.bgr), std::string(style.name)});
  }
  return row;
}

ExitStatus makeSheet(const Arguments& arguments) {
  SafeOutput output(arguments.output, arguments.overwrite);
  std::vector<std::vector<SheetPicture>> rows;
  std::optional<ChosenDevice> device; // made once a photo needs it: a missing photo shows without one
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
      device.emplace(arguments.device);
    }
    rows.push_back(sheetRow(arguments, file, photo, *device));
  }
  if (rows.empty()) {
    throw Failure(ExitStatus::kInputOutput, "none of the photos can be read: no sheet made");
  }
  const cv::Mat sheet = makeContactSheet(rows);
  requireFits(arguments.output, sheet.size());
  output.commit(encodePicture(arguments.output, sheet));
  if (!arguments.quiet) {
    printLine(arguments.output.string() + ": sheet of " + sizeText(sheet.size()) + " pixels");
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
    return stylizePhoto(arguments);
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
