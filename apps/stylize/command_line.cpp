#include "command_line.h"

#include "help_texts.h"
#include "model_package.h"
#include "options.h"
#include "parser.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <sstream>

namespace vorin::stylize {
namespace {

constexpr std::size_t kNamesColumns = 26; // the width of the names in the help, in front of the descriptions
constexpr std::size_t kHelpColumns = 80 - kNamesColumns;

constexpr const char* kPictureSection = "The result";
constexpr const char* kLookSection = "The look";
constexpr const char* kClipSection = "Clips and pipes";
constexpr const char* kNeuralSection = "The neural styles";
constexpr const char* kDeviceSection = "The device";

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

std::string checkSize(const std::string& text) {
  return parseSize(text)
             ? ""
             : "'" + text + "' is not a usable size: write it as 640x480, 640x, x480 or 50%, with " + media::sizeLimits();
}

std::string checkColour(const std::string& text) {
  return parseColour(text) ? "" : "'" + text + "' is not a colour: use white, black or six hexadecimal digits, as FF8000";
}

std::string checkTime(const std::string& text) {
  return parseTime(text) ? "" : "'" + text + "' is not a time: write it in seconds, as 90.5, or as 1:30";
}

std::string checkNotEmpty(const std::string& text) {
  return text.empty() ? "an empty value: give one, or leave the option out" : "";
}

std::vector<std::string> networkNames() {
  std::vector<std::string> names;
  for (const auto& network : media::networksOf(media::Style::kTransfer)) {
    names.emplace_back(network.variant);
  }
  return names;
}

std::vector<std::string> imageKinds() {
  std::vector<std::string> kinds;
  for (const std::string& extension : media::imageExtensions()) {
    kinds.push_back(extension.substr(1));
  }
  return kinds;
}

// Has no description: the help lists the values in the option's own text.
CLI::Validator oneOf(const std::vector<std::string>& values) {
  return CLI::IsMember(values).description("");
}

} // namespace

std::string wrapped(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::string indentation(std::min(line.find_first_not_of(' '), line.size()), ' ');
    while (line.size() > kHelpColumns) {
      const std::size_t end = line.rfind(' ', kHelpColumns);
      result.append(result.empty() ? "" : "\n").append(line, 0, end);
      line.replace(0, end + 1, indentation);
    }
    result.append(result.empty() ? "" : "\n").append(line);
  }
  return result;
}

Parser::Parser(CommandLine& values) : typed(values) {
  app.allow_windows_style_options(false); // "/name" is a file on every system
  app.get_formatter()->column_width(kNamesColumns);
  app.add_option("input", typed.inputs, wrapped("What to restyle: images, clips, folders of them; or - for a pipe"))
      ->option_text("FILE");
  addResult(app);
  addRestyling(app, true);
  flag(app, "--version", typed.version, "Print the versions of the program and its library", kOtherSection);
  addCommands();
  app.require_subcommand(0, 1);
  app.footer(std::string(kClipFooter) + kFooter); // set after the subcommands, which would inherit it
  sheet->footer(kSheetFooter);
}

CLI::Option* Parser::text(CLI::App& app, const char* names, std::string& value, const char* placeholder, const std::string& help,
                          const char* section) {
  return app.add_option(names, value, wrapped(help))->type_name(placeholder)->group(section)->check(checkNotEmpty);
}

CLI::Option* Parser::flag(CLI::App& app, const char* names, bool& value, const char* help, const char* section) {
  return app.add_flag(names, value, wrapped(help))->group(section);
}

void Parser::addRestyling(CLI::App& to, bool at_once) {
  addStyle(to);
  addImages(to);
  addLook(to);
  addMany(to, at_once);
  addClips(to, at_once);
  addNeural(to);
  addDevice(to);
  addProgress(to);
  addOther(to, true);
}

void Parser::addProgress(CLI::App& to) {
  text(to, "--progress", typed.progress, "KIND",
       "auto (default: a bar on a terminal, else a line every 10 %) or json (a line at least once a second), on standard error",
       kOtherSection)
      ->check(oneOf({"auto", "json"}));
}

void Parser::addResult(CLI::App& to) {
  text(to, "-o,--output", typed.output, "FILE",
       "The file to write; its extension sets the kind:\n" + base::joined(media::imageExtensions()) +
           ";\na clip: " + base::joined(media::clipExtensions()) + "; - for a pipe.\nFor many inputs the folder, made if needed",
       kPictureSection);
  flag(to, "--overwrite", typed.overwrite, "Replace the output if it exists", kPictureSection);
}

void Parser::addStyle(CLI::App& to) {
  text(to, "--style", typed.style, "NAME",
       "How to restyle:\n"
       "  pencil: grey pencil lines on white, darker towards the corners\n"
       "  stipple: a grainy picture made of fine dots\n"
       "  lightgrey: a light picture in greys (neural)\n"
       "  cartoon: flat colours, as in a cartoon (neural)\n"
       "  transfer: the look of the --style-image (neural)",
       kPictureSection)
      ->check(oneOf(styleNames()));
  text(to, "--size", typed.size, "SIZE",
       "Size of the result in pixels (default: the input's): 640x480, 640x or x480, which keep its shape, or 50%;\n" +
           media::sizeLimits(),
       kPictureSection)
      ->check(checkSize);
  flag(to, "--keep-alpha", typed.keep_alpha, "Keep the image's transparency in .png and .webp results", kPictureSection);
}

void Parser::addImages(CLI::App& to) {
  text(to, "--background", typed.background, "COLOR",
       "What shows behind the transparent parts of an image: white (default), black, or red, green and blue as FF8000",
       kPictureSection)
      ->check(checkColour);
  to.add_option("--quality", typed.quality,
                wrapped("Quality of JPEG and WebP results, 1 to 100 (default: 95, and WebP without loss)"))
      ->type_name("N")
      ->group(kPictureSection)
      ->check(CLI::Range(1, 100).description(""));
  to.add_option("--max-pixels", typed.max_pixels,
                wrapped("Refuse images of more pixels than this (default: 16777216, more if the file is large)"))
      ->type_name("N")
      ->group(kPictureSection);
}

void Parser::addLook(CLI::App& to) {
  to.add_option("--strength", typed.strength,
                wrapped("How much of the style shows: 0 keeps the input, 1 (default) is the whole style"))
      ->type_name("0..1")
      ->group(kLookSection)
      ->check(CLI::Range(0.0, 1.0).description(""));
  flag(to, "--keep-colors", typed.keep_colours, "Keep the input's colours and use the result's light (luma and chroma of BT.601)",
       kLookSection);
}

void Parser::addMany(CLI::App& to, bool at_once) {
  const std::vector<std::string> kinds = imageKinds();
  text(to, "--to", typed.to, "KIND",
       "Kind of the images (default: each input's own), or of the one that goes to the output -:\n" + base::joined(kinds),
       kManySection)
      ->check(oneOf(kinds));
  if (at_once) {
    flag(to, "--resume", typed.resume,
         "Survive every end: started again with the same options, skip the images that are done, and go on in clips, whose "
         "work is kept beside the output in NAME.job until it is done; one run at a time in a folder",
         kManySection)
        ->excludes("--overwrite");
  }
}

void Parser::addClips(CLI::App& to, bool at_once) {
  text(to, "--codec", typed.codec, "NAME",
       "How to encode clips: h264 (default; vp9 for .webm), h265, vp9, av1, or the name of an encoder of libavcodec",
       kClipSection);
  to.add_option(
        "--crf", typed.crf,
        wrapped("Quality of clips: 0 is best; 6 more roughly halve an h264 or h265 file. Default:\n" + media::usualQualities()))
      ->type_name("N")
      ->group(kClipSection);
  text(to, "--sound", typed.sound, "KIND",
       "What becomes of the sound of clips: copy, aac or none (default: copy, or where the output cannot hold a copy, aac, in "
       ".webm "
       "opus)",
       kClipSection)
      ->check(oneOf({"copy", "aac", "none"}));
  text(to, "--start", typed.start, "TIME", "Where in a clip to begin: seconds, or 1:30 (default: at its begin)", kClipSection)
      ->check(checkTime);
  text(to, "--end", typed.end, "TIME", "Where in a clip to end (default: at its end)", kClipSection)->check(checkTime);
  if (at_once) {
    text(to, "--raw", typed.raw, "KIND",
         "Format of the frames in the pipe -, such as nv12:1280x720@30 (default: Y4M); the pixels are\n" + media::rawPixelNames(),
         kClipSection);
  }
  flag(to, "--steady", typed.steady,
       "Reduce flicker: parts of the scene that do not change keep their look, and move with the scene", kClipSection);
}

void Parser::addNeural(CLI::App& to) {
  text(to, "--style-image", typed.style_image, "FILE",
       "For transfer: the picture whose look to use (for a sheet, default: painting.png beside the package). A folder makes a "
       "sheet of the image in the look of each picture in it",
       kNeuralSection);
  text(to, "--network", typed.network, "NAME",
       "For transfer: the network, by the size it works at:\n" + base::joined(networkNames()) +
           " (default: " + networkNames().front() + ")",
       kNeuralSection)
      ->check(oneOf(networkNames()));
  flag(to, "--no-cache", typed.no_cache, "Compile the network anew, and keep no compiled one", kNeuralSection);
  addModels(to);
}

void Parser::addModels(CLI::App& to) {
  text(to, "--models", typed.models, "FOLDER",
       "The folder of the model package, model_st.bin (default: the program's folder, its folder models, ../models or "
       "../share/vorin-stt/models seen from it, the first that holds one)",
       kNeuralSection);
}

void Parser::addDevice(CLI::App& to) {
  text(to, "--device", typed.device, "NAME",
       "What to run on: auto (default: the GPU; without one, software), integrated, discrete, or software (this machine's "
       "processor)",
       kDeviceSection)
      ->check(oneOf({"auto", "integrated", "discrete", "software"}));
  text(to, "--precision", typed.precision, "NAME",
       "Number format of networks on the software device: f32 (default: the same result everywhere) or bf16 (faster on "
       "processors that have it)",
       kDeviceSection)
      ->check(oneOf({"f32", "bf16"}));
}

void Parser::addOther(CLI::App& to, bool restyles) {
  flag(to, "--json", typed.json, "Print the results as JSON on standard output", kOtherSection);
  if (restyles) {
    flag(to, "-q,--quiet", typed.quiet, "Print errors and warnings only", kOtherSection);
  }
  to.set_help_flag("-h,--help", "Print this help")->group(kOtherSection);
}

void Parser::addCommands() {
  sheet = app.add_subcommand("sheet", "Write one image with all styles beside the original");
  sheet->add_option("image", typed.inputs, "The images; each fills two rows of three pictures:\nitself, then the five results")
      ->type_name("FILE");
  addResult(*sheet);
  addImages(*sheet);
  addLook(*sheet);
  addNeural(*sheet);
  addDevice(*sheet);
  addOther(*sheet, true);
  devices = app.add_subcommand("devices", "List the GPUs: kind, tab, name");
  addOther(*devices, false);
  info = app.add_subcommand("info", wrapped("List versions, devices, and the networks with their sizes and SHA-256 sums"));
  addModels(*info);
  addOther(*info, false);
  selftest = app.add_subcommand(
      "selftest", wrapped("Restyle a built-in picture in all styles and compare the results with the expected ones"));
  addModels(*selftest);
  addDevice(*selftest);
  addOther(*selftest, false);
  addJob();
}

namespace {

// The program's own options belong to restyling: before a command they would be ignored.
void requireNothingBefore(const CLI::App& app, const std::string& command) {
  const std::vector<const CLI::Option*> options = app.get_options();
  const auto given = std::find_if(options.begin(), options.end(), [](const CLI::Option* option) { return option->count() > 0; });
  if (given != options.end()) {
    const std::string name = (*given)->get_positional() ? (*given)->results().front() : (*given)->get_name();
    throw usage("'" + name + "' stands before '" + command + "': put it after that, if the command has it");
  }
}

} // namespace

CommandLine parseCommandLine(int count, const char* const* arguments) {
  CommandLine typed;
  Parser parser(typed);
  try {
    parser.app.parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    typed.help = parser.app.help();
    return typed;
  } catch (const CLI::ParseError& error) {
    throw usage(base::oneLine(error.what()) + ": see vorin-stylize --help");
  }
  if (const auto commands = parser.app.get_subcommands(); !commands.empty()) {
    typed.command = commands.front()->get_name();
    requireNothingBefore(parser.app, typed.command);
    if (commands.front() == parser.job) {
      typed.command = parser.job->get_subcommands().front()->get_name();
    }
  }
  if (typed.version && count > 2) {
    throw usage("--version stands alone: leave the rest out");
  }
  return typed;
}

std::vector<std::string> styleNames() {
  return {"pencil", "stipple", "lightgrey", "cartoon", "transfer"};
}

} // namespace vorin::stylize
