// image_header.h: what the bytes of an image file tell without being decoded: its kind, its size, whether it is whole, and how
// the camera was held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vorin::media {

enum class ImageKind { kNone, kPng, kJpeg, kWebp, kBmp };

// By the first bytes, of which 16 are enough.
ImageKind imageKindOf(std::span<const std::uint8_t> file);

struct ImageHeader {
  std::uint64_t width = 0; // 0: the header breaks off
  std::uint64_t height = 0;
  bool is_whole = true; // as far as it is checked
};
ImageHeader readImageHeader(std::span<const std::uint8_t> file);

// The EXIF orientation of a JPEG or PNG file: 1 to 8, where 1 is upright and stands for a file without one too.
int imageOrientation(std::span<const std::uint8_t> file);

} // namespace vorin::media
