#include "clip_formats.h"

#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <sstream>
#include <string_view>

namespace vorin::media {
namespace {

constexpr std::string_view kY4mWord = "YUV4MPEG2";

struct RawRow {
  std::string_view name;
  RawPixels pixels;
  bool even_width;
  bool even_height;
};

constexpr std::array kRawRows = {
    RawRow{"bgra", RawPixels::kBgra, false, false},   RawRow{"rgba", RawPixels::kRgba, false, false},
    RawRow{"bgr24", RawPixels::kBgr24, false, false}, RawRow{"nv12", RawPixels::kNv12, true, true},
    RawRow{"yuy2", RawPixels::kYuy2, true, false},    RawRow{"yuyv422", RawPixels::kYuy2, true, false},
};

std::optional<int> wholeNumber(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

// The text before the first separator and the text after it.
std::optional<std::pair<std::string_view, std::string_view>> cut(std::string_view text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  return std::pair(text.substr(0, at), text.substr(at + 1));
}

std::optional<Size> parseSize(std::string_view text) {
  const auto sides = cut(text, 'x');
  const auto width = sides ? wholeNumber(sides->first) : std::nullopt;
  const auto height = sides ? wholeNumber(sides->second) : std::nullopt;
  const auto fits = [](std::optional<int> side) { return side && *side > 0 && *side <= static_cast<int>(kLargestSide); };
  return fits(width) && fits(height) ? std::optional(Size{*width, *height}) : std::nullopt;
}

std::optional<Rational> parseRatio(std::string_view text, char separator) {
  const auto parts = cut(text, separator);
  const auto num = parts ? wholeNumber(parts->first) : std::nullopt;
  const auto den = parts ? wholeNumber(parts->second) : std::nullopt;
  return num && den && *num > 0 && *den > 0 ? std::optional(Rational{*num, *den}) : std::nullopt;
}

// Parses 25, 30000/1001 or 29.97.
std::optional<Rational> parseRate(std::string_view text) {
  if (const auto ratio = parseRatio(text, '/')) {
    return ratio;
  }
  if (const auto whole = wholeNumber(text)) {
    return *whole > 0 ? std::optional(Rational{*whole, 1}) : std::nullopt;
  }
  constexpr int kThousandths = 1000;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool fits = error == std::errc() && end == text.data() + text.size() && value >= 0.001 && value <= 10000;
  return fits ? std::optional(Rational{static_cast<int>(std::lround(value * kThousandths)), kThousandths}) : std::nullopt;
}

const RawRow* findRawRow(std::string_view name) {
  for (const RawRow& row : kRawRows) {
    if (row.name == name) {
      return &row;
    }
  }
  return nullptr;
}

void readColour(SourceInfo& info, const std::string& value) {
  constexpr int kLeft = 1; // of libav's chroma positions
  constexpr int kCentre = 2;
  constexpr int kTopLeft = 3;
  if (value == "420mpeg2") {
    detailsOf(info).colours.chroma_position = kLeft;
  } else if (value == "420" || value == "420jpeg") {
    detailsOf(info).colours.chroma_position = kCentre;
  } else if (value == "420paldv") {
    detailsOf(info).colours.chroma_position = kTopLeft;
  } else {
    throw Error(ErrorKind::kInputOutput,
                info.name + " is Y4M with C" + value + ": only 8-bit 4:2:0 is supported (ffmpeg: -pix_fmt yuv420p)");
  }
}

void readParameter(SourceInfo& info, const std::string& word) {
  const std::string value = word.substr(1);
  switch (word.front()) {
  case 'W':
    info.size.width = wholeNumber(value).value_or(0);
    return;
  case 'H':
    info.size.height = wholeNumber(value).value_or(0);
    return;
  case 'F':
    info.frame_rate = parseRatio(value, ':').value_or(Rational{});
    break;
  case 'A':
    detailsOf(info).pixel_aspect = parseRatio(value, ':').value_or(Rational{});
    break;
  case 'C':
    readColour(info, value);
    break;
  case 'X':
    if (value == "COLORRANGE=FULL" || value == "COLORRANGE=LIMITED") {
      detailsOf(info).colours.range_is_known = true;
      detailsOf(info).colours.full_range = value == "COLORRANGE=FULL";
    }
    break;
  default:
    break;
  }
  detailsOf(info).y4m_parameters += ' ' + word;
}

std::string ratioText(char letter, Rational value) {
  return std::string(" ") + letter + std::to_string(value.num) + ':' + std::to_string(value.den);
}

} // namespace

const ContainerRow* findContainer(const std::filesystem::path& file) {
  const std::string extension = base::lowerCaseExtension(file);
  const auto* row =
      std::find_if(kContainers.begin(), kContainers.end(), [&](const ContainerRow& each) { return each.extension == extension; });
  return row == kContainers.end() ? nullptr : row;
}

bool isClipName(const std::filesystem::path& file) {
  return findContainer(file) != nullptr;
}

std::vector<std::string> clipExtensions() {
  std::vector<std::string> extensions;
  extensions.reserve(kContainers.size());
  for (const ContainerRow& row : kContainers) {
    extensions.emplace_back(row.extension);
  }
  return extensions;
}

std::string usualQualities() {
  std::string text;
  for (const EncoderRow& row : kEncoders) {
    text += (text.empty() ? "" : ", ") + std::to_string(row.usual_crf) + " for " + std::string(row.name);
  }
  return text;
}

RawFormat parseRawFormat(const std::string& text) {
  const auto kind = cut(text, ':');
  const auto shape = kind ? cut(kind->second, '@') : std::nullopt;
  const RawRow* row = kind ? findRawRow(kind->first) : nullptr;
  const auto size = shape ? parseSize(shape->first) : std::nullopt;
  const auto rate = shape ? parseRate(shape->second) : std::nullopt;
  if (kind && row == nullptr) {
    throw Error(ErrorKind::kUsage, "unknown pixels in --raw '" + text + "': use one of " + rawPixelNames());
  }
  if (!size || !rate) {
    throw Error(ErrorKind::kUsage,
                "--raw '" + text + "' cannot be read: write it as nv12:1280x720@30, the rate also as 30000/1001");
  }
  if ((row->even_width && size->width % 2 != 0) || (row->even_height && size->height % 2 != 0)) {
    throw Error(ErrorKind::kUsage,
                "--raw '" + text + "' has an odd size, which " + std::string(row->name) + " cannot hold: use bgra");
  }
  return {row->pixels, *size, *rate};
}

Size rawSize(const std::string& raw) {
  return parseRawFormat(raw).size;
}

std::string rawPixelNames() {
  std::string names;
  for (const RawRow& row : kRawRows) {
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  return names;
}

SourceInfo parseY4mHeader(const std::string& line, const std::string& name) {
  std::istringstream words(line);
  std::string word;
  words >> word;
  if (word != kY4mWord) {
    throw Error(ErrorKind::kInputOutput,
                name + " is not Y4M: name its format with --raw, or convert it to Y4M (ffmpeg: -f yuv4mpegpipe)");
  }
  SourceInfo info;
  info.name = name;
  while (words >> word) {
    readParameter(info, word);
  }
  const auto fits = [](int side) { return side > 0 && side <= static_cast<int>(kLargestSide); };
  if (!fits(info.size.width) || !fits(info.size.height)) {
    throw Error(ErrorKind::kInputOutput,
                name + " is Y4M without a usable size: it must name W and H, each up to " + std::to_string(kLargestSide));
  }
  if (info.frame_rate.num == 0) {
    info.frame_rate = {25, 1};
  }
  info.time_base = {info.frame_rate.den, info.frame_rate.num};
  info.layout = layoutFor(PixelLayout::kNv12, info.size);
  return info;
}

std::string y4mHeader(const SourceInfo& source, Size size) {
  std::string line = std::string(kY4mWord) + " W" + std::to_string(size.width) + " H" + std::to_string(size.height);
  if (!detailsOf(source).y4m_parameters.empty()) {
    return line + detailsOf(source).y4m_parameters + '\n';
  }
  constexpr int kCentre = 2;
  line += source.frame_rate.num > 0 ? ratioText('F', source.frame_rate) : " F25:1";
  line += " Ip" + ratioText('A', detailsOf(source).pixel_aspect.num > 0 ? detailsOf(source).pixel_aspect : Rational{1, 1});
  line += detailsOf(source).colours.chroma_position == kCentre ? " C420jpeg" : " C420mpeg2";
  line += detailsOf(source).colours.full_range ? " XCOLORRANGE=FULL" : " XCOLORRANGE=LIMITED";
  return line + '\n';
}

} // namespace vorin::media
