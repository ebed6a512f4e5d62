#include "arguments.h"

#include "exit_status.h"
#include "image_file.h"
#include "name_table.h"
#include "picture_size.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <variant>

namespace vorin::stylize {
namespace {

// As typed.
struct RawArguments {
  std::vector<std::string> photos;
  std::string output;
  std::string style;
  std::string style_image;
  std::string network;
  std::string models;
  std::string size;
  std::string device = "auto";
  std::string precision;
  std::string format = "bgra";
  bool overwrite = false;
  bool quiet = false;
  bool version = false;
};

enum CommandSet : unsigned { kForStylize = 1, kForSheet = 2, kForBoth = 3 };

struct OptionRow {
  const char* names;
  std::variant<std::string RawArguments::*, bool RawArguments::*> value;
  const char* placeholder;
  std::string help;
  unsigned commands;
  const char* section;
};

constexpr const char* kPictureSection = "The drawing";
constexpr const char* kNeuralSection = "The neural styles";
constexpr const char* kDeviceSection = "The device";
constexpr const char* kOtherSection = "Other options";

std::string styleHelp() {
  std::string help = "How to draw:";
  for (const Style& style : styles()) {
    help += "\n  " + std::string(style.name) + ": " + std::string(style.summary);
  }
  return help;
}

const Style& transferStyle() {
  return *std::find_if(styles().begin(), styles().end(), [](const Style& style) { return style.takesStyleImage(); });
}

std::vector<OptionRow> optionTable() {
  return {
      {"-o,--output", &RawArguments::output, "FILE", "The file to write; its extension says which kind:\n" + pictureExtensions(),
       kForBoth, kPictureSection},
      {"--style", &RawArguments::style, "NAME", styleHelp(), kForStylize, kPictureSection},
      {"--size", &RawArguments::size, "WxH", "Size of the drawing in pixels (default: the photo's):\n" + sizeLimits(),
       kForStylize, kPictureSection},
      {"--overwrite", &RawArguments::overwrite, "", "Replace the output if it exists", kForBoth, kPictureSection},
      {"--style-image", &RawArguments::style_image, "FILE",
       "For transfer: the picture whose look to take (for a\nsheet, default: painting.png beside the package)", kForBoth,
       kNeuralSection},
      {"--network", &RawArguments::network, "NAME",
       "For transfer: the network, by the size it works at:\n" + joinNames(transferStyle().networks) +
           " (default: " + std::string(transferStyle().networks.front().name) + ")",
       kForBoth, kNeuralSection},
      {"--models", &RawArguments::models, "FOLDER",
       "The folder of the model package, model_st.bin\n(default: the program's folder, its folder models,\n../models or "
       "../share/vorin-stt/models seen from it,\nthe first that holds one)",
       kForBoth, kNeuralSection},
      {"--device", &RawArguments::device, "NAME",
       "Where to draw: auto (default: the GPU; without one,\nsoftware), integrated, discrete, or software (this\nmachine's "
       "processor)",
       kForBoth, kDeviceSection},
      {"--precision", &RawArguments::precision, "NAME",
       "What networks compute in on the software device:\nf32 (default: the same drawing everywhere) or bf16\n(faster on "
       "processors "
       "that have it)",
       kForBoth, kDeviceSection},
      {"--format", &RawArguments::format, "NAME",
       "Frame format on the way through the library:\n" + frameFormatNames() +
           "\n(default: bgra); nv12 and yuy2 want an even --size",
       kForStylize, kDeviceSection},
      {"-q,--quiet", &RawArguments::quiet, "", "Print errors only", kForBoth, kOtherSection},
  };
}

constexpr const char* kFooter = R"(
Photos are PNG, JPEG, WebP or BMP files. Transparency is dropped, 16 bits a
colour become 8, photos marked as turned are turned upright.

A neural style loads its network anew for each photo. lightgrey and cartoon work
at the photo's size, but at 1920x1080 at most; transfer works at the size of its
network. The library brings the drawing to the photo's size.

Data goes to standard output, all else to standard error.

Exit status: 0 all done, 1 some inputs failed, 2 usage, 3 model or
configuration, 4 device, 5 input or output, 130 cancelled.

Examples:
  vorin-stylize photo.jpg -o drawing.png --style pencil
  vorin-stylize photo.jpg -o small.webp --style stipple --size 640x480
  vorin-stylize photo.jpg -o drawing.png --style pencil --device software
  vorin-stylize photo.jpg -o drawing.png --style cartoon --models folder
  vorin-stylize photo.jpg -o drawing.png --style transfer --style-image p.jpg
  vorin-stylize sheet photo.jpg -o sheet.png
  vorin-stylize devices)";

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
  const FrameFormat* format = findFrameFormat(name);
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
  return name.empty() ? std::nullopt : std::optional<std::filesystem::path>(name);
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

std::filesystem::path checkedOutput(const std::string& name) {
  if (name.empty()) {
    throw usage("no output named: add -o with the file to write");
  }
  if (!isPictureName(name)) {
    throw usage("the output '" + name + "' has no known file extension: use one of " + pictureExtensions());
  }
  return name;
}

std::vector<std::filesystem::path> checkedPhotos(const std::vector<std::string>& names, Command command) {
  if (names.empty()) {
    throw usage("no photo named: see vorin-stylize --help");
  }
  if (command == Command::kStylize && names.size() > 1) {
    throw usage("one photo at a time: '" + names[1] + "' is too many");
  }
  return {names.begin(), names.end()};
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
  CLI::App app("Draws photos in a style: pencil lines, fine dots, paintings by neural networks.", "vorin-stylize");
  CLI::Option* photo = app.add_option("photo", raw.photos, "The photo to draw")->option_text("FILE");
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
  app.footer(kFooter);                                  // after the subcommands, which would take it over
  sheet->footer("\nExample:\n  vorin-stylize sheet harbour.jpg garden.png -o sheet.png");

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
  parsed.output = checkedOutput(raw.output);
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
