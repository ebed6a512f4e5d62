// colour_change.h: NV12 pictures from one YUV matrix and range to another, in place.
//
// Both decode to the same red, green and blue, so the change is linear: with the colour differences taken from their middle,
//   y' = s y + a u + b v,  u' = c u + d v,  v' = e u + f v
// and grey stays grey. It is done per pair U, V and its four luma samples, in fixed point, and loses nothing but rounding (one
// step of 255 at most each way, as long as the colours are ones that both can hold). Source: ITU-R BT.601, BT.709 and BT.2020,
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

// The matrix and range of pictures with these tags. Where they do not tell, what players assume: BT.709 from HD sizes on, BT.601
// below, video range. A matrix that is none of the linear ones counts as BT.601.
YuvColours yuvColours(const ColourTags& tags, Size size);

SourceInfo withColours(SourceInfo info, bool exact_colours);

// Of the source's NV12 pictures.
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

  // luma_terms: for each luma sample of a row.
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
