// picture_conversion.h: between libav's frames of any pixel format and the two layouts that the effects see, by libswscale; the
// change of the YUV matrix is colour_change.h's. For the inside of this folder.
//
// 10 and more bits become 8 by rounding with libswscale's dither. Frames that change size on the way (broadcasts do) are brought
// to the first one's. libswscale's fast paths take it for granted that rows are aligned and padded, and crash where they are not:
// it only ever sees libav's own buffers here, which cost one more copy.
#pragma once

#include "colour_change.h"
#include "libav_support.h"

namespace vorin::media {

// One conversion with libswscale at a time, made anew where the shape of the input changes.
class Scaler {
public:
  // Both with format, size and pixels set; the colours count where the format is YUV.
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

// The format without the full range that libav's old names for JPEG's formats imply.
AVPixelFormat plainFormat(AVPixelFormat format);
bool impliesFullRange(AVPixelFormat format);

// NV12 for YUV with colour at half the width and half the height, of even size.
PixelLayout layoutForFormat(AVPixelFormat format, Size size);

FrameHandle newFrame(AVPixelFormat format, Size size); // with room for the pixels

class PictureFromFrame {
public:
  // colours: of the frames that are YUV; picture_colours: of the pictures that are NV12.
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
  YuvColours toClip(Picture& picture) const; // the colours that it has then, if it is YUV

  AVPixelFormat format_;
  Size size_;
  YuvColours colours_;
  YuvColours picture_colours_;
  ColourChange from_picture_;
  Scaler scaler_;
  FrameHandle aligned_;
};

} // namespace vorin::media
