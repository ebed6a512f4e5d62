#include "arguments.h"

#include "argument_checks.h"
#include "bash_completion.h"
#include "clip_command.h"
#include "exit_status.h"
#include "option_table.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>
#include <variant>

namespace vorin::stylize {
namespace {

constexpr std::size_t kNamesColumns = 26; // of the help, in front of what each name is
constexpr std::size_t kHelpColumns = 80 - kNamesColumns;

// Each line broken at blanks where it is too long, and what is broken off as far in as the line was.
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

void addOptions(CLI::App& app, RawArguments& raw, unsigned command) {
  for (const OptionRow& row : optionTable()) {
    if ((row.commands & command) == 0) {
      continue;
    }
    CLI::Option* option = nullptr;
    if (const auto* text = std::get_if<std::string RawArguments::*>(&row.value)) {
      option = app.add_option(row.names, raw.**text, wrapped(row.help))->type_name(row.placeholder);
      option->check([](const std::string& value) { return std::string(value.empty() ? "an empty value is of no use" : ""); });
    } else {
      option = app.add_flag(row.names, raw.*std::get<bool RawArguments::*>(row.value), wrapped(row.help));
    }
    option->group(row.section);
  }
  app.set_help_flag("-h,--help", "Print this help")->group(kOtherSection);
}

// allowed: the one option of the program itself that may be there; null for none.
void requireNothingElse(const CLI::App& app, const CLI::Option* allowed, const std::string& what) {
  for (const CLI::Option* option : app.get_options()) {
    if (option != allowed && option->count() > 0) {
      throw usage(what + " stands alone: leave '" + option->results().front() + "' out");
    }
  }
}

// An option's possible values, for the completion.
std::vector<std::string> wordsOf(const std::string& option) {
  for (const OptionRow& row : optionTable()) {
    if (std::string(row.names).ends_with(option)) {
      return row.words;
    }
  }
  return {};
}

// The parser of the command line.
struct Parser {
  RawArguments raw;
  CLI::App app{"Draws photos and clips in a style: pencil, dots, paintings by neural networks.", "vorin-stylize"};
  CLI::Option* photo = nullptr;
  CLI::Option* version = nullptr;
  CLI::App* sheet = nullptr;
  CLI::App* devices = nullptr;
  CLI::App* info = nullptr;
  CLI::App* selftest = nullptr;
  CLI::App* completion = nullptr;

  Parser() {
    app.allow_windows_style_options(false); // "/name" is a file on every system
    app.get_formatter()->column_width(kNamesColumns);
    photo = app.add_option("photo", raw.photos,
                           clipExtensions().empty()
                               ? std::string("The photos to draw: files, folders, patterns")
                               : wrapped("The photos to draw: files, folders, patterns; or a clip, or - for a pipe"))
                ->option_text("FILE");
    addOptions(app, raw, kForStylize);
    version = app.add_flag("--version", raw.version, "Print the versions of the program and its library")->group(kOtherSection);
    addCommands();
    app.require_subcommand(0, 1);
    app.footer(std::string(kClipFooter) + kFooter); // after the subcommands, which would take it over
    sheet->footer(kSheetFooter);
  }

  void addCommands() {
    sheet = app.add_subcommand("sheet", "Write one picture with all styles beside the original");
    sheet->add_option("photo", raw.photos, "The photos; each takes two rows of three pictures:\nitself, then the five drawings")
        ->type_name("FILE");
    addOptions(*sheet, raw, kForSheet);
    devices = app.add_subcommand("devices", "List the GPUs to draw on: kind, tabulator, name");
    addOptions(*devices, raw, kForDevices);
    info = app.add_subcommand("info", wrapped("List versions, devices, and the networks with their sizes and SHA-256 sums"));
    addOptions(*info, raw, kForInfo);
    selftest =
        app.add_subcommand("selftest", wrapped("Draw a built-in picture in all styles and compare with what is known of it"));
    addOptions(*selftest, raw, kForSelftest);
    completion = base::addCompletionCommand(app);
  }
};

// The text to print where that is what was asked for.
std::optional<std::string> parse(Parser& parser, int count, const char* const* arguments) {
  try {
    parser.app.parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    return parser.app.help();
  } catch (const CLI::ParseError& error) {
    throw usage(std::string(error.what()) + ": see vorin-stylize --help");
  }
  return parser.completion->parsed() ? std::optional(base::bashCompletion(parser.app, wordsOf)) : std::nullopt;
}

} // namespace

Arguments parseArguments(int count, const char* const* arguments) {
  Parser parser;
  Arguments parsed;
  if (std::optional<std::string> text = parse(parser, count, arguments)) {
    parsed.command = Command::kText;
    parsed.text = *std::move(text);
    return parsed;
  }
  const RawArguments& raw = parser.raw;
  const auto commands = parser.app.get_subcommands();
  if (raw.version && !commands.empty()) {
    throw usage("--version stands alone: leave '" + commands.front()->get_name() + "' out");
  }
  if (raw.version) {
    requireNothingElse(parser.app, parser.version, "--version");
    parsed.command = Command::kVersion;
    return parsed;
  }
  if (parser.sheet->parsed() && parser.photo->count() > 0) {
    throw usage("'" + parser.photo->results().front() + "' stands before 'sheet': name the photos after it");
  }
  for (const auto& [command, kind] : {std::pair(parser.devices, Command::kDevices), std::pair(parser.info, Command::kInfo),
                                      std::pair(parser.selftest, Command::kSelftest)}) {
    if (command->parsed()) {
      requireNothingElse(parser.app, nullptr, command->get_name());
      return checkedInspection(raw, kind);
    }
  }
  return checkedDrawing(raw, parser.sheet->parsed() ? Command::kSheet : Command::kStylize);
}

} // namespace vorin::stylize
