#include "argument_checks.h"

#include "clip_command.h"
#include "image_file.h"
#include "name_table.h"
#include "picture_size.h"
#include "quoted_name.h"
#include "utf8_path.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace vorin::stylize {
namespace {

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
  return name.empty() ? std::nullopt : std::optional(base::pathFromUtf8(name));
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
  return base::pathFromUtf8(name);
}

std::vector<std::filesystem::path> checkedPhotos(const std::vector<std::string>& names) {
  if (names.empty()) {
    throw usage("no photo named: see vorin-stylize --help");
  }
  std::vector<std::filesystem::path> photos;
  std::transform(names.begin(), names.end(), std::back_inserter(photos), base::pathFromUtf8);
  return photos;
}

double checkedStrength(const std::string& text) {
  if (text.empty()) {
    return 1;
  }
  double strength = 0;
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, strength);
  if (error != std::errc() || at != end || !(strength >= 0 && strength <= 1)) {
    throw usage("--strength '" + text + "' is no number from 0 (the photo) to 1 (the drawing): write it as 0.5");
  }
  return strength;
}

std::string checkedKind(const std::string& kind) {
  if (kind.empty()) {
    return {};
  }
  const std::vector<std::string> known = pictureExtensionList();
  std::string extension = std::string(".").append(kind);
  if (std::find(known.begin(), known.end(), extension) == known.end()) {
    throw usage("unknown --to '" + kind + "': the kinds are " + joinTexts(known) + ", without the dot");
  }
  return extension;
}

ProgressWish checkedProgress(const std::string& name) {
  const auto* wish = findByName(progressWishes(), name);
  if (wish == nullptr) {
    throw usage("unknown --progress '" + name + "': it is one of " + joinNames(progressWishes()));
  }
  return wish->wish;
}

// What only photos have.
void checkForClip(const RawArguments& raw) {
  if (raw.photos.size() > 1) {
    throw usage("one clip at a time: '" + raw.photos[1] + "' is too many");
  }
  for (const auto& [option, is_set] :
       {std::pair("--format", !raw.format.empty()), std::pair("--to", !raw.to.empty()), std::pair("--resume", raw.resume)}) {
    if (is_set) {
      throw usage(std::string(option) + " is of no use to a clip: leave it out");
    }
  }
  if (raw.json && raw.output == kPipe) {
    throw usage("--json and the output - would both go to standard output: leave one of them out");
  }
}

// Either the clip's own options, or none of them.
std::optional<ClipOptions> checkedClip(const RawArguments& raw) {
  if (isClip(raw.photos.empty() ? "" : raw.photos.front(), raw.output)) {
    checkForClip(raw);
    return checkedClipOptions(raw);
  }
  for (const auto& [option, is_set] : {std::pair("--codec", !raw.codec.empty()), std::pair("--crf", !raw.crf.empty()),
                                       std::pair("--raw", !raw.raw.empty()), std::pair("--steady", raw.steady)}) {
    if (is_set) {
      throw usage(std::string(option) + " is of no use to a photo: leave it out, or name a clip as the output");
    }
  }
  return std::nullopt;
}

void checkTogether(const RawArguments& raw) {
  if (raw.resume && raw.overwrite) {
    throw usage("--resume keeps what is there and --overwrite replaces it: leave one of them out");
  }
}

} // namespace

Failure usage(const std::string& line) {
  return {ExitStatus::kUsage, line};
}

void requirePictureName(const std::filesystem::path& output) {
  if (!isPictureName(output)) {
    const std::string clips = clipExtensions();
    throw usage("the output " + base::quotedPath(output) + " has no known file extension: use one of " + pictureExtensions() +
                (clips.empty() ? "" : "; for a clip " + clips));
  }
}

Arguments checkedDrawing(const RawArguments& raw, Command command) {
  Arguments checked = checkedInspection(raw, command);
  checked.photos = checkedPhotos(raw.photos);
  if (command == Command::kStylize) {
    checked.clip = checkedClip(raw);
  }
  checked.output = checkedOutput(raw.output);
  if (command == Command::kSheet) {
    requirePictureName(checked.output);
  } else {
    checked.style = checkedStyle(raw.style);
  }
  checkStyleOptions(checked.style, raw);
  checkTogether(raw);
  checked.network = checkedNetwork(raw.network);
  checked.style_image = optionalPath(raw.style_image);
  checked.format = checkedFormat(raw.format);
  checked.size = checkedSize(raw.size, *checked.format);
  checked.look = {checkedStrength(raw.strength), raw.keep_colors};
  checked.to = checkedKind(raw.to);
  checked.progress = checkedProgress(raw.progress);
  checked.overwrite = raw.overwrite;
  checked.resume = raw.resume;
  checked.quiet = raw.quiet;
  return checked;
}

Arguments checkedInspection(const RawArguments& raw, Command command) {
  Arguments checked;
  checked.command = command;
  checked.models = optionalPath(raw.models);
  checked.device = checkedDevice(raw.device);
  checked.precision = checkedPrecision(raw.precision);
  checked.json = raw.json;
  return checked;
}

} // namespace vorin::stylize
