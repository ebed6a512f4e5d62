#include "arguments.h"

#include "clip_command.h"
#include "exit_status.h"
#include "image_file.h"
#include "name_table.h"
#include "option_table.h"
#include "picture_size.h"
#include "utf8_path.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <variant>

namespace vorin::stylize {
namespace {

// The parser is to take several photos, so that one too many gets its own line; the help is to show the one.
class OnePhotoFormatter : public CLI::Formatter {
public:
  std::string make_option_usage(const CLI::Option* /*photo*/) const override { return "[photo]"; }
};

Failure usage(const std::string& line) {
  return {ExitStatus::kUsage, line};
}

void addOptions(CLI::App& app, RawArguments& raw, unsigned command) {
  for (const OptionRow& row : optionTable()) {
    if ((row.commands & command) == 0) {
      continue;
    }
    CLI::Option* option = nullptr;
    if (const auto* text = std::get_if<std::string RawArguments::*>(&row.value)) {
      option = app.add_option(row.names, raw.**text, row.help)->type_name(row.placeholder);
      option->check([](const std::string& value) { return std::string(value.empty() ? "an empty value is of no use" : ""); });
    } else {
      option = app.add_flag(row.names, raw.*std::get<bool RawArguments::*>(row.value), row.help);
    }
    option->group(row.section);
  }
  app.set_help_flag("-h,--help", "Print this help")->group(kOtherSection);
}

const FrameFormat* checkedFormat(const std::string& name) {
  const FrameFormat* format = findFrameFormat(name.empty() ? "bgra" : name);
  if (format == nullptr) {
    throw usage("unknown --format '" + name + "': the formats are " + frameFormatNames());
  }
  return format;
}

const Style* checkedStyle(const std::string& name) {
  if (name.empty()) {
    throw usage("no style given: add --style with one of " + styleNames());
  }
  const Style* style = findStyle(name);
  if (style == nullptr) {
    throw usage("unknown --style '" + name + "': the styles are " + styleNames());
  }
  return style;
}

const Network* checkedNetwork(const std::string& name) {
  if (name.empty()) {
    return nullptr;
  }
  const Network* network = findByName(transferStyle().networks, name);
  if (network == nullptr) {
    throw usage("unknown --network '" + name + "': the networks are " + joinNames(transferStyle().networks));
  }
  return network;
}

// style: null for a sheet, which has all styles; where its style image is to come from shows once the package is found.
void checkStyleOptions(const Style* style, const RawArguments& raw) {
  if (style == nullptr) {
    return;
  }
  const std::string name(style->name);
  if (style->takesStyleImage() && raw.style_image.empty()) {
    throw usage("the style '" + name + "' takes the look of a picture: add --style-image with an image file");
  }
  if (!style->takesStyleImage() && !(raw.style_image.empty() && raw.network.empty())) {
    throw usage(std::string(raw.style_image.empty() ? "--network" : "--style-image") + " is of no use to the style '" + name +
                "': leave it out, or use --style " + std::string(transferStyle().name));
  }
}

std::optional<std::filesystem::path> optionalPath(const std::string& name) {
  return name.empty() ? std::nullopt : std::optional(tools::pathFromUtf8(name));
}

DeviceWish checkedDevice(const std::string& name) {
  const auto* wish = findByName(deviceWishes(), name);
  if (wish == nullptr) {
    throw usage("unknown --device '" + name + "': the devices are " + joinNames(deviceWishes()));
  }
  return wish->wish;
}

const Precision* checkedPrecision(const std::string& name) {
  if (name.empty()) {
    return nullptr;
  }
  const Precision* precision = findByName(precisions(), name);
  if (precision == nullptr) {
    throw usage("unknown --precision '" + name + "': the precisions are " + joinNames(precisions()));
  }
  return precision;
}

std::optional<cv::Size> checkedSize(const std::string& text, const FrameFormat& format) {
  if (text.empty()) {
    return std::nullopt;
  }
  const auto size = parseSize(text);
  if (!size) {
    throw usage("--size '" + text + "' is not a usable size: write it as 640x480, with " + sizeLimits());
  }
  if (frameSize(format, *size) != *size) {
    throw usage("--size " + text + " is odd, and --format " + std::string(format.name) +
                " takes even widths and heights only: choose an even size or another format");
  }
  return size;
}

std::string outputExtensions() {
  const std::string clips = clipExtensions();
  return pictureExtensions() + (clips.empty() ? "" : "; for a clip " + clips);
}

std::filesystem::path checkedOutput(const std::string& name) {
  if (name.empty()) {
    throw usage("no output named: add -o with the file to write");
  }
  std::filesystem::path output = tools::pathFromUtf8(name);
  if (!isPictureName(output)) {
    throw usage("the output '" + name + "' has no known file extension: use one of " + outputExtensions());
  }
  return output;
}

std::vector<std::filesystem::path> checkedPhotos(const std::vector<std::string>& names, Command command) {
  if (names.empty()) {
    throw usage("no photo named: see vorin-stylize --help");
  }
  if (command == Command::kStylize && names.size() > 1) {
    throw usage("one photo at a time: '" + names[1] + "' is too many");
  }
  std::vector<std::filesystem::path> photos;
  std::transform(names.begin(), names.end(), std::back_inserter(photos), tools::pathFromUtf8);
  return photos;
}

// Either the clip's own options, or none of them.
std::optional<ClipOptions> checkedClip(const RawArguments& raw) {
  if (isClip(raw.photos.empty() ? "" : raw.photos.front(), raw.output)) {
    if (!raw.format.empty()) {
      throw usage("--format is of no use to a clip, whose own pixels say it: leave it out");
    }
    return checkedClipOptions(raw);
  }
  for (const auto& [option, value] :
       {std::pair("--codec", &raw.codec), std::pair("--crf", &raw.crf), std::pair("--raw", &raw.raw)}) {
    if (!value->empty()) {
      throw usage(std::string(option) + " is of no use to a photo: leave it out, or name a clip as the output");
    }
  }
  return std::nullopt;
}

// allowed: the one option of the program itself that may be there; null for none.
void requireNothingElse(const CLI::App& app, const CLI::Option* allowed, const std::string& what) {
  for (const CLI::Option* option : app.get_options()) {
    if (option != allowed && option->count() > 0) {
      throw usage(what + " stands alone: leave '" + option->results().front() + "' out");
    }
  }
}

} // namespace

Arguments parseArguments(int count, const char* const* arguments) {
  RawArguments raw;
  CLI::App app("Draws photos and clips in a style: pencil lines, fine dots, paintings by neural networks.", "vorin-stylize");
  app.allow_windows_style_options(false); // "/name" is a file on every system
  CLI::Option* photo = app.add_option("photo", raw.photos,
                                      clipExtensions().empty() ? "The photo to draw" : "The photo or clip to draw; - for a pipe")
                           ->option_text("FILE");
  addOptions(app, raw, kForStylize);
  CLI::Option* version =
      app.add_flag("--version", raw.version, "Print the versions of the program and its library")->group(kOtherSection);
  CLI::App* sheet = app.add_subcommand("sheet", "Write one picture with all styles beside the original");
  sheet->add_option("photo", raw.photos, "The photos; each takes two rows of three pictures:\nitself, then the five drawings")
      ->type_name("FILE");
  addOptions(*sheet, raw, kForSheet);
  CLI::App* devices = app.add_subcommand("devices", "List the GPUs to draw on: kind, tabulator, name");
  devices->set_help_flag("-h,--help", "Print this help");
  app.require_subcommand(0, 1);
  app.formatter(std::make_shared<OnePhotoFormatter>()); // not the subcommands'
  app.footer(std::string(kClipFooter) + kFooter);       // after the subcommands, which would take it over
  sheet->footer(kSheetFooter);

  Arguments parsed;
  try {
    app.parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    parsed.command = Command::kHelp;
    parsed.help = app.help();
    return parsed;
  } catch (const CLI::ParseError& error) {
    throw usage(std::string(error.what()) + ": see vorin-stylize --help");
  }
  if (raw.version && !app.get_subcommands().empty()) {
    throw usage("--version stands alone: leave '" + app.get_subcommands().front()->get_name() + "' out");
  }
  if (sheet->parsed() && photo->count() > 0) {
    throw usage("'" + photo->results().front() + "' stands before 'sheet': name the photos after it");
  }
  if (raw.version || devices->parsed()) {
    requireNothingElse(app, raw.version ? version : nullptr, raw.version ? "--version" : "devices");
    parsed.command = raw.version ? Command::kVersion : Command::kDevices;
    return parsed;
  }
  parsed.command = sheet->parsed() ? Command::kSheet : Command::kStylize;
  parsed.photos = checkedPhotos(raw.photos, parsed.command);
  if (parsed.command == Command::kStylize) {
    parsed.clip = checkedClip(raw);
  }
  parsed.output = parsed.clip ? tools::pathFromUtf8(raw.output) : checkedOutput(raw.output);
  parsed.style = parsed.command == Command::kStylize ? checkedStyle(raw.style) : nullptr;
  checkStyleOptions(parsed.style, raw);
  parsed.network = checkedNetwork(raw.network);
  parsed.style_image = optionalPath(raw.style_image);
  parsed.models = optionalPath(raw.models);
  parsed.device = checkedDevice(raw.device);
  parsed.precision = checkedPrecision(raw.precision);
  parsed.format = checkedFormat(raw.format);
  parsed.size = checkedSize(raw.size, *parsed.format);
  parsed.overwrite = raw.overwrite;
  parsed.quiet = raw.quiet;
  return parsed;
}

} // namespace vorin::stylize
