// image_bytes.h: reads numbers and texts in the bytes of image files, and the entries of TIFF directories, which EXIF data have
// too. Private to this folder.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vorin::media {

using Bytes = std::span<const std::uint8_t>;

// A number of up to 4 bytes; 0 beyond the end of the file.
inline std::uint32_t readNumber(Bytes file, std::size_t at, std::size_t count, bool big_endian) {
  std::uint32_t value = 0;
  for (std::size_t index = 0; index < count && at + count <= file.size(); ++index) {
    value = value << 8U | file[at + (big_endian ? index : count - 1 - index)];
  }
  return value;
}

inline bool textAt(Bytes file, std::size_t offset, std::string_view text) {
  return file.size() >= offset + text.size() &&
         std::equal(text.begin(), text.end(), file.begin() + static_cast<std::ptrdiff_t>(offset),
                    [](char letter, std::uint8_t byte) { return static_cast<std::uint8_t>(letter) == byte; });
}

// ---- TIFF: byte order, a number, the offset of the first directory. A directory: its number of entries, 12 bytes for each (tag,
// type, count, value), the offset of the next directory, or 0 ----

inline bool isTiff(Bytes file) {
  return textAt(file, 0, std::string_view("MM\0*", 4)) || textAt(file, 0, std::string_view("II*\0", 4));
}

// 0: there is none.
inline std::size_t firstDirectory(Bytes tiff) {
  return isTiff(tiff) ? readNumber(tiff, 4, 4, tiff[0] == 'M') : 0;
}

inline std::size_t endOfEntries(Bytes tiff, std::size_t directory) {
  return directory + 2 + readNumber(tiff, directory, 2, tiff[0] == 'M') * std::size_t{12};
}

// Where a whole number stands in a directory, and how many bytes it has; 0 bytes: it has none of that tag.
struct TiffNumber {
  std::size_t offset = 0;
  std::size_t bytes = 0;
};

inline TiffNumber findTag(Bytes tiff, std::size_t directory, std::uint32_t tag) {
  constexpr std::uint32_t kLongType = 4;
  const bool big_endian = !tiff.empty() && tiff[0] == 'M';
  const std::size_t end = directory == 0 ? 0 : std::min(endOfEntries(tiff, directory), tiff.size());
  TiffNumber found;
  for (std::size_t at = directory + 2; at + 12 <= end; at += 12) {
    if (readNumber(tiff, at, 2, big_endian) == tag) { // the last one counts, as for the decoder
      found = {at + 8, readNumber(tiff, at + 2, 2, big_endian) == kLongType ? std::size_t{4} : std::size_t{2}};
    }
  }
  return found;
}

// 0 without such a tag.
inline std::uint32_t tagIn(Bytes tiff, std::size_t directory, std::uint32_t tag) {
  const TiffNumber found = findTag(tiff, directory, tag);
  return found.bytes == 0 ? 0 : readNumber(tiff, found.offset, found.bytes, tiff[0] == 'M');
}

} // namespace vorin::media
