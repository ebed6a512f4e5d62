// colour_change.h: changes the YUV matrix and range of NV12 pictures, in place.
//
// Before and after, pixels decode to the same red, green and blue, so the change is linear: with the colour differences taken
// from their middle,
//   y' = s y + a u + b v,  u' = c u + d v,  v' = e u + f v
// and grey stays grey. The change runs over each pair U, V and its four luma samples, in fixed point. It loses only rounding (at
// most one step of 255 each way, for colours that both can hold). Source: ITU-R BT.601, BT.709 and BT.2020,
// and ITU-T H.273 for the numbers of the matrices.
#pragma once

#include "sources_and_sinks.h"

namespace vorin::media {

struct YuvColours {
  int matrix = 6; // of H.273: 1 is BT.709, 5 and 6 are BT.601
  bool full_range = false;
  bool operator==(const YuvColours&) const = default;
};

constexpr YuvColours kLibraryColours = {};

// The matrix and range of pictures with these tags. Unknown tags mean what players assume: BT.709 from HD sizes on, else BT.601;
// video range. Other matrices count as BT.601.
YuvColours yuvColours(const ColourTags& tags, Size size);

SourceInfo withColours(SourceInfo info, bool exact_colours);

// The matrix and range of the source's NV12 pictures.
YuvColours pictureColours(const SourceInfo& source);

class ColourChange {
public:
  ColourChange(const YuvColours& from, const YuvColours& to);

  void apply(Picture& nv12) const;

private:
  struct Term { // factors
    std::int16_t u = 0;
    std::int16_t v = 0;
  };

  // luma_terms: one for each luma sample of a row.
  void changePairs(std::uint8_t* pairs, int count, std::int16_t* luma_terms) const;
  void changeLuma(std::uint8_t* row, int width, const std::int16_t* luma_terms) const;

  bool is_none_ = false;
  bool range_stays_ = false;
  std::int16_t luma_scale_ = 0;
  std::int16_t luma_offset_ = 0; // with kPlaces binary places
  Term luma_;
  Term u_;
  Term v_;
};

} // namespace vorin::media
