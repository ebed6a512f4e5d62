#include "image_orientation.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace vorin::media {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kUpright = 1;

bool textAt(Bytes bytes, std::size_t offset, std::string_view text) {
  return bytes.size() >= offset + text.size() &&
         std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                    [](char letter, std::uint8_t byte) { return static_cast<std::uint8_t>(letter) == byte; });
}

// Numbers of 16 and 32 bits in the order of their file; 0 beyond its end.
struct Numbers {
  Bytes bytes;
  bool big_endian;

  std::uint32_t read(std::size_t at, std::size_t count) const {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < count && at + count <= bytes.size(); ++index) {
      number = number << 8U | bytes[at + (big_endian ? index : count - 1 - index)];
    }
    return number;
  }
};

// EXIF data are a TIFF file: byte order, offset of the first directory; the directory's number of entries, and 12 bytes for each.
int orientationOf(Bytes exif) {
  constexpr std::uint32_t kOrientation = 0x0112;
  const Numbers numbers = {exif, textAt(exif, 0, "MM")};
  if (!numbers.big_endian && !textAt(exif, 0, "II")) {
    return kUpright;
  }
  const std::size_t directory = numbers.read(4, 4);
  const std::size_t entries = numbers.read(directory, 2);
  for (std::size_t entry = 0; entry < entries; ++entry) {
    const std::size_t at = directory + 2 + entry * 12;
    if (numbers.read(at, 2) == kOrientation) {
      const auto value = static_cast<int>(numbers.read(at + 8, 2));
      return value >= 1 && value <= 8 ? value : kUpright;
    }
  }
  return kUpright;
}

Bytes exifOfJpeg(Bytes file) {
  constexpr std::uint8_t kApp1 = 0xE1;
  constexpr std::uint8_t kStartOfScan = 0xDA;
  const Numbers numbers = {file, true};
  for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF;) {
    const std::size_t segment_bytes = numbers.read(at + 2, 2); // the two of the length included
    if (file[at + 1] == kStartOfScan || segment_bytes < 2 || file.size() - at - 2 < segment_bytes) {
      break;
    }
    const Bytes content = file.subspan(at + 4, segment_bytes - 2);
    constexpr std::string_view kHead("Exif\0\0", 6);
    if (file[at + 1] == kApp1 && textAt(content, 0, kHead)) {
      return content.subspan(kHead.size());
    }
    at += 2 + segment_bytes;
  }
  return {};
}

Bytes exifOfPng(Bytes file) {
  const Numbers numbers = {file, true};
  for (std::size_t at = 8; at + 12 <= file.size();) {
    const std::size_t content_bytes = numbers.read(at, 4);
    if (file.size() - at - 12 < content_bytes) {
      break;
    }
    if (textAt(file, at + 4, "eXIf")) {
      return file.subspan(at + 8, content_bytes);
    }
    at += 12 + content_bytes;
  }
  return {};
}

} // namespace

int imageOrientation(Bytes file) {
  return orientationOf(textAt(file, 0, "\xFF\xD8") ? exifOfJpeg(file) : textAt(file, 0, "\x89PNG") ? exifOfPng(file) : Bytes());
}

} // namespace vorin::media
