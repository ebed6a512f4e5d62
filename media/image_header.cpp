#include "image_bytes.h"
#include "image_codec.h"

#include <cstdlib>

namespace vorin::media {
namespace {

// The offset of the next marker of a JPEG file at or after an offset: 0xFF before a byte that is neither stuffing (0), nor fill
// (0xFF), nor one of those without data: a restart within a scan, or 1. The file's size when there is none.
std::size_t nextMarker(Bytes file, std::size_t at) {
  for (; at + 1 < file.size(); ++at) {
    const std::uint8_t code = file[at + 1];
    const bool is_restart = code >= 0xD0 && code <= 0xD7;
    if (file[at] == 0xFF && code > 1 && code != 0xFF && !is_restart) {
      return at;
    }
  }
  return file.size();
}

ImageHeader readJpeg(Bytes file) {
  constexpr std::uint8_t kEndOfImage = 0xD9;
  constexpr std::uint8_t kStartOfScan = 0xDA;
  ImageHeader header;
  header.is_whole = false;
  bool scan_seen = false;
  for (std::size_t marker = nextMarker(file, 2); file.size() - marker >= 2;) {
    const std::uint8_t code = file[marker + 1];
    if (code == kEndOfImage) {
      header.is_whole = scan_seen;
      break;
    }
    const std::size_t segment_bytes = readNumber(file, marker + 2, 2, true);
    if (file.size() - marker - 2 < segment_bytes) {
      break;
    }
    // Frame headers have the codes C0 to CF but for those of Huffman tables, a reserved one, and arithmetic coding.
    if (code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC) {
      header.height = readNumber(file, marker + 5, 2, true);
      header.width = readNumber(file, marker + 7, 2, true);
    }
    scan_seen = scan_seen || code == kStartOfScan;
    marker = nextMarker(file, marker + 2 + segment_bytes);
  }
  return header;
}

// A chunk is its data's length, its name, the data, and a checksum. The last one is IEND.
ImageHeader readPng(Bytes file) {
  constexpr std::size_t kSignatureBytes = 8;
  constexpr std::size_t kOverheadBytes = 12;
  ImageHeader header = {readNumber(file, 16, 4, true), readNumber(file, 20, 4, true), false};
  for (std::size_t chunk = kSignatureBytes; file.size() - chunk >= kOverheadBytes && !header.is_whole;) {
    const std::size_t data_bytes = readNumber(file, chunk, 4, true);
    if (file.size() - chunk - kOverheadBytes < data_bytes) {
      break;
    }
    header.is_whole = textAt(file, chunk + 4, "IEND");
    header.is_animated = header.is_animated || (textAt(file, chunk + 4, "acTL") && readNumber(file, chunk + 8, 4, true) > 1);
    chunk += kOverheadBytes + data_bytes;
  }
  return header;
}

ImageHeader readWebp(Bytes file) {
  if (textAt(file, 12, "VP8X")) {
    constexpr std::uint32_t kAnimation = 2;
    const bool is_animated = (readNumber(file, 20, 1, false) & kAnimation) != 0;
    return {readNumber(file, 24, 3, false) + 1, readNumber(file, 27, 3, false) + 1, true, is_animated};
  }
  if (textAt(file, 12, "VP8L")) {
    const std::uint32_t sides = readNumber(file, 21, 4, false);
    return {(sides & 0x3FFFU) + 1, (sides >> 14U & 0x3FFFU) + 1};
  }
  return {readNumber(file, 26, 2, false) & 0x3FFFU, readNumber(file, 28, 2, false) & 0x3FFFU};
}

ImageHeader readBmp(Bytes file) {
  constexpr std::size_t kOs2HeaderBytes = 12;
  if (readNumber(file, 14, 4, false) == kOs2HeaderBytes) {
    return {readNumber(file, 18, 2, false), readNumber(file, 20, 2, false)};
  }
  const auto height = static_cast<std::int32_t>(readNumber(file, 22, 4, false)); // negative: rows from top to bottom
  ImageHeader header = {readNumber(file, 18, 4, false), static_cast<std::uint64_t>(std::abs(std::int64_t{height}))};
  const std::uint32_t compression = readNumber(file, 30, 4, false);
  const bool has_runs = compression == 1 || compression == 2;
  const std::uint64_t row_bytes = (header.width * readNumber(file, 28, 2, false) + 31) / 32 * 4;
  header.is_whole = has_runs || readNumber(file, 10, 4, false) + row_bytes * header.height <= file.size();
  return header;
}

ImageHeader readTiff(Bytes file) {
  constexpr std::uint32_t kWidth = 0x0100;
  constexpr std::uint32_t kHeight = 0x0101;
  constexpr std::size_t kLinkBytes = 4;
  const std::size_t directory = firstDirectory(file);
  return {tagIn(file, directory, kWidth), tagIn(file, directory, kHeight),
          endOfEntries(file, directory) + kLinkBytes <= file.size()};
}

// After the header: blocks, each with a byte for its kind, and data in parts of up to 255 bytes, the last of which is empty.
ImageHeader readGif(Bytes file) {
  constexpr std::uint32_t kExtension = 0x21;
  constexpr std::uint32_t kPicture = 0x2C;
  const auto byte = [&](std::size_t at) { return readNumber(file, at, 1, false); };
  const auto paletteBytes = [](std::uint32_t flags) { return (flags & 0x80U) != 0 ? std::size_t{6} << (flags & 7U) : 0; };
  ImageHeader header = {readNumber(file, 6, 2, false), readNumber(file, 8, 2, false), false};
  for (std::size_t at = 13 + paletteBytes(byte(10)); byte(at) == kExtension || byte(at) == kPicture;) {
    const bool is_picture = byte(at) == kPicture;
    header.is_animated = header.is_animated || (is_picture && header.is_whole);
    if (is_picture && !header.is_whole) {
      header.left = readNumber(file, at + 1, 2, false);
      header.top = readNumber(file, at + 3, 2, false);
    }
    at += is_picture ? 11 + paletteBytes(byte(at + 9)) : 2;
    while (byte(at) != 0) {
      at += 1 + byte(at);
    }
    header.is_whole = header.is_whole || (is_picture && at < file.size());
    ++at;
  }
  return header;
}

} // namespace

ImageKind imageKindOf(Bytes file) {
  constexpr std::size_t kBmpHeaderBytes = 14;
  if (textAt(file, 0, "\x89PNG\r\n\x1A\n")) {
    return ImageKind::kPng;
  }
  if (textAt(file, 0, "\xFF\xD8\xFF")) {
    return ImageKind::kJpeg;
  }
  if (textAt(file, 0, "RIFF") && textAt(file, 8, "WEBP")) {
    return ImageKind::kWebp;
  }
  if (textAt(file, 0, "GIF87a") || textAt(file, 0, "GIF89a")) {
    return ImageKind::kGif;
  }
  if (isTiff(file)) {
    return ImageKind::kTiff;
  }
  return textAt(file, 0, "BM") && file.size() >= kBmpHeaderBytes ? ImageKind::kBmp : ImageKind::kNone;
}

ImageHeader readImageHeader(Bytes file) {
  switch (imageKindOf(file)) {
  case ImageKind::kPng:
    return readPng(file);
  case ImageKind::kJpeg:
    return readJpeg(file);
  case ImageKind::kWebp:
    return readWebp(file);
  case ImageKind::kTiff:
    return readTiff(file);
  case ImageKind::kGif:
    return readGif(file);
  default:
    return readBmp(file);
  }
}

} // namespace vorin::media
