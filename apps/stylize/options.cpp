#include "options.h"

#include "command_line.h"
#include "sources_and_sinks.h"
#include "text.h"
#include "vorin_installation.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
#include <string_view>

namespace vorin::stylize {
namespace {

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

const std::map<std::string, media::Style> kStyles = {{"pencil", media::Style::kPencilSketch},
                                                     {"stipple", media::Style::kStippling},
                                                     {"lightgrey", media::Style::kLightGrey},
                                                     {"cartoon", media::Style::kCartoon},
                                                     {"transfer", media::Style::kTransfer}};
const std::map<std::string, media::Device> kDevices = {{"auto", media::Device::kAuto},
                                                       {"integrated", media::Device::kIntegratedGpu},
                                                       {"discrete", media::Device::kDiscreteGpu},
                                                       {"software", media::Device::kSoftware}};

const std::map<std::string, media::Sound> kSounds = {
    {"", media::Sound::kCopyOrAac}, {"copy", media::Sound::kCopy}, {"aac", media::Sound::kAac}, {"none", media::Sound::kNone}};

bool isPipe(const std::string& name) {
  return name == media::kPipeName;
}

void checkStyleOptions(const CommandLine& typed) {
  const bool is_transfer = typed.style == "transfer";
  if (typed.style.empty()) {
    throw usage("no style given: add --style with one of " + base::joined(styleNames()));
  }
  if (is_transfer && typed.style_image.empty()) {
    throw usage("the style 'transfer' needs a picture whose look to use: add --style-image with an image file");
  }
  if (!is_transfer && !(typed.style_image.empty() && typed.network.empty())) {
    throw usage(std::string(typed.style_image.empty() ? "--network" : "--style-image") +
                " applies to the style transfer only: leave it out, or use --style transfer");
  }
}

// Checks the options that apply to pipes.
void checkPipeOptions(const CommandLine& typed) {
  const bool writes_pipe = isPipe(typed.output);
  const bool reads_pipe = std::any_of(typed.inputs.begin(), typed.inputs.end(), isPipe);
  if (!typed.raw.empty() && !reads_pipe && !writes_pipe) {
    throw usage("--raw applies to pipes only: leave it out, or name - as the input or the output");
  }
  if (writes_pipe && !(typed.codec.empty() && !typed.crf && typed.sound.empty())) {
    throw usage("--codec, --crf and --sound do not apply to the output -, which is not encoded: leave them out");
  }
  if (writes_pipe && typed.json) {
    throw usage("--json and the output - would both go to standard output: leave one of them out");
  }
  if ((reads_pipe || writes_pipe) && typed.inputs.size() > 1) {
    throw usage("a pipe must be the only input: name no other beside '-'");
  }
  if ((reads_pipe || writes_pipe) && !typed.job.empty()) {
    throw usage("a job has no pipes: name files");
  }
  if (!typed.raw.empty()) {
    static_cast<void>(media::rawSize(typed.raw));
  }
  if (reads_pipe && !(typed.start.empty() && typed.end.empty())) {
    throw usage("--start and --end do not apply to the input -: cut what goes into the pipe");
  }
}

// Throws unless the span has a length.
void setSpan(const CommandLine& typed, media::SourceOptions& source) {
  source.start_s = typed.start.empty() ? 0 : parseTime(typed.start).value();
  source.end_s = typed.end.empty() ? std::nullopt : parseTime(typed.end);
  if (source.end_s && *source.end_s <= source.start_s) {
    throw usage("--end must be later than --start: write both as seconds or as 1:30");
  }
}

std::vector<std::string> clipOptionsIn(const CommandLine& typed) {
  std::vector<std::string> given;
  for (const auto& [option, is_given] : {std::pair("--codec", !typed.codec.empty()), std::pair("--crf", typed.crf.has_value()),
                                         std::pair("--sound", !typed.sound.empty()), std::pair("--steady", typed.steady),
                                         std::pair("--start", !typed.start.empty()), std::pair("--end", !typed.end.empty())}) {
    if (is_given) {
      given.emplace_back(option);
    }
  }
  return given;
}

Options checkedOptions(const CommandLine& typed, Command command) {
  Options options;
  options.command = command;
  options.restyler.models = base::pathFromUtf8(typed.models);
  options.restyler.device = kDevices.at(typed.device);
  if (!typed.precision.empty()) {
    options.restyler.precision = typed.precision == "bf16" ? media::Precision::kBf16 : media::Precision::kF32;
  }
  options.restyler.cache_bytes = typed.no_cache ? 0 : options.restyler.cache_bytes;
  options.json = typed.json;
  options.job = base::pathFromUtf8(typed.job);
  options.unit = typed.unit;
  options.workers = typed.workers;
  options.unit_rules = {typed.unit_length_s, typed.unit_images};
  options.open_units = typed.open_units;
  options.skip_failed = typed.skip_failed;
  options.quiet = typed.quiet;
  options.progress = typed.progress == "json" ? ProgressWish::kJson : ProgressWish::kAuto;
  if (command != Command::kRestyle && command != Command::kSheet && command != Command::kPlan) {
    return options;
  }
  if (typed.inputs.empty()) {
    throw usage("no input named: see vorin-stylize --help");
  }
  if (typed.output.empty()) {
    throw usage("no output named: add -o with the file to write");
  }
  if (std::isnan(typed.strength)) { // CLI11's check of the range accepts it
    throw usage("--strength is not a number: write it as 0.5");
  }
  if (command != Command::kSheet) {
    checkStyleOptions(typed);
    checkPipeOptions(typed);
    options.restyler.style = kStyles.at(typed.style);
  }
  std::transform(typed.inputs.begin(), typed.inputs.end(), std::back_inserter(options.inputs), base::pathFromUtf8);
  options.output = base::pathFromUtf8(typed.output);
  options.restyler.network = typed.network;
  options.size = typed.size.empty() ? std::nullopt : parseSize(typed.size);
  options.style_image = base::pathFromUtf8(typed.style_image);
  options.strength = typed.strength;
  options.keep_colours = typed.keep_colours;
  options.steady = typed.steady;
  options.source.raw = typed.raw;
  options.source.max_pixels = typed.max_pixels;
  setSpan(typed, options.source);
  options.source.background = parseColour(typed.background).value();
  options.sink = {typed.codec,   typed.crf,        typed.raw, typed.overwrite, kSounds.at(typed.sound),
                  typed.quality, typed.keep_alpha, {}};
  options.to = typed.to.empty() ? "" : "." + typed.to;
  options.sink.image = isPipe(typed.output) ? options.to : "";
  options.resume = typed.resume;
  options.clip_options = clipOptionsIn(typed);
  return options;
}

Command commandOf(const CommandLine& typed) {
  static const std::map<std::string, Command> commands = {
      {"", Command::kRestyle},  {"sheet", Command::kSheet},       {"devices", Command::kDevices},
      {"info", Command::kInfo}, {"selftest", Command::kSelftest}, {"plan", Command::kPlan},
      {"work", Command::kWork}, {"status", Command::kStatus},     {"join", Command::kJoin}};
  return commands.at(typed.command);
}

} // namespace

std::optional<media::SizeRule> parseSize(const std::string& text) {
  const auto number = [](std::string_view digits) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? value : 0;
  };
  const std::string_view view = text;
  if (view.ends_with('%')) {
    constexpr std::uint64_t kMostPercent = 10000;
    const std::uint64_t percent = number(view.substr(0, view.size() - 1));
    return percent >= 1 && percent <= kMostPercent ? std::optional(media::SizeRule{0, 0, static_cast<double>(percent)})
                                                   : std::nullopt;
  }
  const std::size_t cross = view.find('x');
  if (cross == std::string_view::npos || view.size() == 1) {
    return std::nullopt;
  }
  const std::string_view width = view.substr(0, cross);
  const std::string_view height = view.substr(cross + 1);
  if (!media::isUsableSize(width.empty() ? 1 : number(width), height.empty() ? 1 : number(height))) {
    return std::nullopt;
  }
  return media::SizeRule{static_cast<int>(number(width)), static_cast<int>(number(height)), 0};
}

std::optional<std::uint32_t> parseColour(const std::string& text) {
  if (text == "white" || text == "black") {
    return text == "white" ? 0xFFFFFF : 0;
  }
  constexpr int kHexadecimal = 16;
  constexpr std::size_t kDigits = 6;
  const std::string digits = text.substr(text.starts_with('#') ? 1 : 0);
  std::uint32_t colour = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), colour, kHexadecimal);
  return error == std::errc() && end == digits.data() + kDigits && digits.size() == kDigits ? std::optional(colour)
                                                                                            : std::nullopt;
}

std::optional<double> parseTime(const std::string& text) {
  constexpr double kMostSeconds = 1e6;
  double seconds = 0;
  std::string_view rest = text;
  for (int part = 0; part < 3; ++part) {
    const std::size_t colon = rest.find(':');
    const bool is_last = colon == std::string_view::npos;
    const std::string_view digits = rest.substr(0, colon);
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
    const bool is_number = error == std::errc() && end == digits.data() + digits.size() && digits[0] >= '0' && digits[0] <= '9';
    if (!is_number || (part > 0 && value >= 60) || (!is_last && value != std::floor(value))) {
      return std::nullopt;
    }
    seconds = seconds * 60 + value;
    if (is_last) {
      return seconds <= kMostSeconds ? std::optional(seconds) : std::nullopt;
    }
    rest.remove_prefix(colon + 1);
  }
  return std::nullopt;
}

Options parseOptions(int count, const char* const* arguments) {
  const CommandLine typed = parseCommandLine(count, arguments);
  if (typed.help || typed.version) {
    Options options;
    options.command = Command::kText;
    options.text = typed.help ? *typed.help : versionText();
    return options;
  }
  return checkedOptions(typed, commandOf(typed));
}

std::string versionText() {
  const media::LibraryInfo library = media::libraryInfo();
  return std::string("vorin-stylize ") + VORIN_STYLIZE_VERSION + "\nvorin_stt " + std::to_string(library.major) + "." +
         std::to_string(library.minor) + "\n";
}

} // namespace vorin::stylize
