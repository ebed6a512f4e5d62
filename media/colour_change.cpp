// Changes the YUV matrix and range of NV12 pictures, in place.
//
// Before and after, pixels decode to the same red, green and blue, so the change is linear: with the colour differences taken
// from their middle,
//   y' = s y + a u + b v,  u' = c u + d v,  v' = e u + f v
// and grey stays grey. The change runs over each pair U, V and its four luma samples, in fixed point. It loses only rounding (at
// most one step of 255 each way, for colours that both can hold). Source: ITU-R BT.601, BT.709 and BT.2020,
// and ITU-T H.273 for the numbers of the matrices.
#include "picture_conversion.h"

#include <algorithm>
#include <cmath>

namespace vorin::media {
namespace {

constexpr int kMiddle = 128; // U and V of grey
constexpr int kFactorPlaces = 13;
constexpr int kPlaces = 5;                         // binary places of a product: 8 + 13 - 16
constexpr std::int16_t kHalf = 1 << (kPlaces - 1); // half a step of the result

std::int16_t toFactor(double value) {
  return static_cast<std::int16_t>(std::lround(value * (1 << kFactorPlaces)));
}

// The product, with kPlaces binary places.
std::int16_t times(std::int16_t value, std::int16_t factor) {
  return static_cast<std::int16_t>((static_cast<std::int16_t>(value << 8) * factor) >> 16);
}

struct LumaWeights {
  double red;
  double blue;
  double green() const { return 1 - red - blue; }
};

LumaWeights lumaWeights(int matrix) {
  switch (matrix) {
  case 1:
    return {0.2126, 0.0722};
  case 4:
    return {0.30, 0.11};
  case 7:
    return {0.212, 0.087};
  case 9:
    return {0.2627, 0.0593};
  default:
    return {0.299, 0.114};
  }
}

struct Range {
  double luma_offset;
  double luma_steps;
  double colour_steps;
};

Range rangeOf(bool full) {
  return full ? Range{0, 255, 255} : Range{16, 219, 224};
}

// The factors of u and v in red, green or blue; the factor of y is 1.
struct ColourTerm {
  double u;
  double v;
};

std::uint8_t clamped(std::int16_t value) {
  return static_cast<std::uint8_t>(std::clamp<std::int16_t>(value, 0, 255));
}

} // namespace

YuvColours yuvColours(const ColourTags& tags, Size size) {
  constexpr int kUnknown = 2;
  constexpr int kBt709 = 1;
  constexpr int kBt601 = 6;
  constexpr int kWidthOfHd = 1280;
  constexpr int kTallestBelowHd = 576;
  YuvColours colours;
  colours.full_range = tags.full_range;
  switch (tags.matrix) {
  case 1:
  case 4:
  case 5:
  case 6:
  case 7:
  case 9:
    colours.matrix = tags.matrix;
    break;
  case 10: // BT.2020 with constant luminance: close enough to 9
    colours.matrix = 9;
    break;
  case 0: // RGB: any YUV matrix may be chosen
  case kUnknown:
    colours.matrix = size.width >= kWidthOfHd || size.height > kTallestBelowHd ? kBt709 : kBt601;
    break;
  default:
    colours.matrix = kBt601;
  }
  return colours;
}

SourceInfo withColours(SourceInfo info, bool exact_colours) {
  detailsOf(info).exact_colours = exact_colours;
  return info;
}

YuvColours pictureColours(const SourceInfo& source) {
  return detailsOf(source).exact_colours ? yuvColours(detailsOf(source).colours, source.size) : kLibraryColours;
}

ColourChange::ColourChange(const YuvColours& from, const YuvColours& to) {
  const LumaWeights old = lumaWeights(from.matrix);
  const LumaWeights fresh = lumaWeights(to.matrix);
  range_stays_ = from.full_range == to.full_range;
  is_none_ = old.red == fresh.red && old.blue == fresh.blue && range_stays_;
  const Range read = rangeOf(from.full_range);
  const Range written = rangeOf(to.full_range);

  const ColourTerm red = {0, 2 * (1 - old.red)};
  const ColourTerm blue = {2 * (1 - old.blue), 0};
  const ColourTerm green = {-old.blue / old.green() * blue.u, -old.red / old.green() * red.v};
  const ColourTerm luma = {fresh.red * red.u + fresh.green() * green.u + fresh.blue * blue.u,
                           fresh.red * red.v + fresh.green() * green.v + fresh.blue * blue.v};

  const double colour_scale = written.colour_steps / read.colour_steps;
  const double luma_per_colour = written.luma_steps / read.colour_steps;
  const double luma_scale = written.luma_steps / read.luma_steps;
  luma_scale_ = toFactor(luma_scale);
  // Luma too is counted from its middle, so that it fits 16 bits.
  luma_offset_ =
      static_cast<std::int16_t>(std::lround((written.luma_offset + luma_scale * (kMiddle - read.luma_offset)) * (1 << kPlaces)));
  luma_ = {toFactor(luma.u * luma_per_colour), toFactor(luma.v * luma_per_colour)};
  const double u_steps = colour_scale / (2 * (1 - fresh.blue));
  const double v_steps = colour_scale / (2 * (1 - fresh.red));
  u_ = {toFactor((blue.u - luma.u) * u_steps), toFactor((blue.v - luma.v) * u_steps)};
  v_ = {toFactor((red.u - luma.u) * v_steps), toFactor((red.v - luma.v) * v_steps)};
}

void ColourChange::changePairs(std::uint8_t* pairs, int count, std::int16_t* luma_terms) const {
  constexpr std::int16_t kOffset = (kMiddle << kPlaces) + kHalf;
  const auto term = [](std::int16_t u, std::int16_t v, Term factors) {
    return static_cast<std::int16_t>(times(u, factors.u) + times(v, factors.v));
  };
  for (int i = 0; i < count; ++i, pairs += 2, luma_terms += 2) {
    const auto u = static_cast<std::int16_t>(pairs[0] - kMiddle);
    const auto v = static_cast<std::int16_t>(pairs[1] - kMiddle);
    luma_terms[0] = luma_terms[1] = term(u, v, luma_);
    pairs[0] = clamped(static_cast<std::int16_t>((term(u, v, u_) + kOffset) >> kPlaces));
    pairs[1] = clamped(static_cast<std::int16_t>((term(u, v, v_) + kOffset) >> kPlaces));
  }
}

void ColourChange::changeLuma(std::uint8_t* row, int width, const std::int16_t* luma_terms) const {
  if (range_stays_) {
    for (int i = 0; i < width; ++i) {
      row[i] = clamped(static_cast<std::int16_t>(row[i] + ((luma_terms[i] + kHalf) >> kPlaces)));
    }
    return;
  }
  const auto offset = static_cast<std::int16_t>(luma_offset_ + kHalf);
  for (int i = 0; i < width; ++i) {
    const auto scaled = times(static_cast<std::int16_t>(row[i] - kMiddle), luma_scale_);
    row[i] = clamped(static_cast<std::int16_t>((scaled + luma_terms[i] + offset) >> kPlaces));
  }
}

void ColourChange::apply(Picture& nv12) const {
  if (is_none_) {
    return;
  }
  const auto [width, height] = nv12.size();
  const std::size_t pitch_bytes = nv12.pitchBytes();
  std::uint8_t* luma = nv12.pixels();
  std::uint8_t* pairs = luma + pitch_bytes * static_cast<std::size_t>(height);
  std::vector<std::int16_t> luma_terms(static_cast<std::size_t>(width));
  for (int row = 0; row < height; row += 2, luma += 2 * pitch_bytes, pairs += pitch_bytes) {
    changePairs(pairs, width / 2, luma_terms.data());
    changeLuma(luma, width, luma_terms.data());
    changeLuma(luma + pitch_bytes, width, luma_terms.data());
  }
}

} // namespace vorin::media
