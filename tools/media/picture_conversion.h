// picture_conversion.h: between libav's frames of any pixel format and the two layouts that the effects see, by libswscale; the
// change of the YUV matrix is colour_change.h's. For the inside of this folder.
//
// 10 and more bits become 8 by rounding with libswscale's dither. Frames that change size on the way (broadcasts do) are brought
// to the first one's.
#pragma once

#include "colour_change.h"
#include "libav_support.h"

namespace vorin::media {

// One conversion with libswscale at a time, made anew where the shape of the input changes.
class Scaler {
public:
  struct End { // of the conversion
    AVPixelFormat format;
    Size size;
    YuvColours colours; // where the format is YUV

    bool operator==(const End& other) const {
      return format == other.format && size == other.size && colours.matrix == other.colours.matrix &&
             colours.full_range == other.colours.full_range;
    }
  };

  void scale(const End& from, const std::uint8_t* const* planes, const int* pitches_bytes, const End& to,
             std::uint8_t* const* to_planes, const int* to_pitches_bytes);

private:
  void prepare(const End& from, const End& to);

  ScalerHandle context_;
  std::optional<End> from_;
  std::optional<End> to_;
};

// The format without the full range that libav's old names for JPEG's formats imply.
AVPixelFormat plainFormat(AVPixelFormat format);
bool impliesFullRange(AVPixelFormat format);

// NV12 for YUV with colour at half the width and half the height, of even size.
PixelLayout layoutForFormat(AVPixelFormat format, Size size);

class PictureFromFrame {
public:
  PictureFromFrame(PixelLayout layout, Size size, const YuvColours& colours);

  Picture convert(const AVFrame& frame);

private:
  PixelLayout layout_;
  Size size_;
  YuvColours colours_;
  ColourChange to_library_;
  Scaler scaler_;
};

class FrameFromPicture {
public:
  FrameFromPicture(AVPixelFormat format, Size size, const YuvColours& colours);

  // The frame may share the picture's memory.
  FrameHandle convert(Picture&& picture);

  // Into memory of the caller's: the planes of an image of the format.
  void convert(Picture&& picture, std::uint8_t* const* planes, const int* pitches_bytes);

private:
  YuvColours toClip(Picture& picture) const; // the colours that it has then, if it is YUV

  AVPixelFormat format_;
  Size size_;
  YuvColours colours_;
  ColourChange from_library_;
  Scaler scaler_;
};

} // namespace vorin::media
