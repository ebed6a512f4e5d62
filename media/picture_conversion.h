// picture_conversion.h: converts between libav's frames of any pixel format and the two layouts of the effects, by libswscale.
// Changes the YUV matrix and range of NV12 pictures in place. Private to this folder.
//
// 10 and more bits become 8 by rounding with libswscale's dither. Frames that change size on the way (broadcasts do) are scaled
// to the first one's size. libswscale's fast paths crash on rows that are not aligned and padded, so it sees libav's own buffers
// only, at the cost of one more copy.
#pragma once

#include "libav_support.h"

namespace vorin::media {

// ---- The matrix and range of YUV (colour_change.cpp) ----

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

  // luma_terms holds one value for each luma sample of a row.
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

// ---- Pixel formats (picture_conversion.cpp) ----

// Converts with libswscale. Keeps one conversion, which is rebuilt when the shape of the input changes.
class Scaler {
public:
  // Both frames must have format, size and pixels. The colours matter for YUV formats only.
  void scale(const AVFrame& from, const YuvColours& from_colours, AVFrame& to, const YuvColours& to_colours);

private:
  struct Shape {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    Size size;
    YuvColours colours;
    bool operator==(const Shape&) const = default;
  };

  void prepare(const Shape& from, const Shape& to);
  static Shape shapeOf(const AVFrame& frame, const YuvColours& colours);

  ScalerHandle context_;
  Shape from_;
  Shape to_;
};

// Some old names of libav's formats (JPEG's) imply full range: plainFormat returns the plain name.
AVPixelFormat plainFormat(AVPixelFormat format);
bool impliesFullRange(AVPixelFormat format);

// NV12 for 4:2:0 formats of even size, else BGRA.
PixelLayout layoutForFormat(AVPixelFormat format, Size size);

FrameHandle newFrame(AVPixelFormat format, Size size); // with room for the pixels

class PictureFromFrame {
public:
  // colours: those of YUV frames; picture_colours: those of NV12 pictures.
  PictureFromFrame(PixelLayout layout, Size size, const YuvColours& colours, const YuvColours& picture_colours);

  Picture convert(const AVFrame& frame);

private:
  PixelLayout layout_;
  Size size_;
  YuvColours colours_;
  ColourChange to_picture_;
  Scaler scaler_;
  FrameHandle scaled_;
};

class FrameFromPicture {
public:
  FrameFromPicture(AVPixelFormat format, Size size, const YuvColours& colours, const YuvColours& picture_colours);

  // The frame may share the picture's memory.
  FrameHandle convert(Picture&& picture);

private:
  YuvColours toClip(Picture& picture) const; // returns the colours of the picture afterwards

  AVPixelFormat format_;
  Size size_;
  YuvColours colours_;
  YuvColours picture_colours_;
  ColourChange from_picture_;
  Scaler scaler_;
  FrameHandle aligned_;
};

} // namespace vorin::media
