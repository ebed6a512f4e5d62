// picture_conversion.h: converts between libav's frames of any pixel format and the two layouts of the effects, by libswscale.
// colour_change.h changes the YUV matrix. Private to this folder.
//
// 10 and more bits become 8 by rounding with libswscale's dither. Frames that change size on the way (broadcasts do) are scaled
// to the first one's size. libswscale's fast paths crash on rows that are not aligned and padded, so it sees libav's own buffers
// only, at the cost of one more copy.
#pragma once

#include "colour_change.h"
#include "libav_support.h"

namespace vorin::media {

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
