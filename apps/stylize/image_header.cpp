#include "image_header.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace vorin::stylize {
namespace {

using Bytes = std::span<const std::uint8_t>;

bool textAt(Bytes file, std::size_t offset, std::string_view text) {
  if (file.size() < offset + text.size()) {
    return false;
  }
  const Bytes found = file.subspan(offset, text.size());
  return std::equal(text.begin(), text.end(), found.begin(),
                    [](char letter, std::uint8_t byte) { return static_cast<std::uint8_t>(letter) == byte; });
}

// Callers have compared the offset with the size.
std::uint32_t big16(Bytes file, std::size_t at) {
  return static_cast<std::uint32_t>(file[at] << 8U | file[at + 1]);
}
std::uint32_t big32(Bytes file, std::size_t at) {
  return big16(file, at) << 16U | big16(file, at + 2);
}
std::uint32_t little16(Bytes file, std::size_t at) {
  return static_cast<std::uint32_t>(file[at] | file[at + 1] << 8U);
}
std::uint32_t little24(Bytes file, std::size_t at) {
  return little16(file, at) | static_cast<std::uint32_t>(file[at + 2]) << 16U;
}
std::uint32_t little32(Bytes file, std::size_t at) {
  return little16(file, at) | little16(file, at + 2) << 16U;
}

ImageHeader readPng(Bytes file) {
  constexpr std::size_t kSignatureBytes = 8;
  constexpr std::size_t kChunkOverheadBytes = 12; // length, name, checksum
  ImageHeader header;
  if (textAt(file, kSignatureBytes + 4, "IHDR") && file.size() >= 24) {
    header.width = big32(file, 16);
    header.height = big32(file, 20);
  }
  std::size_t chunk = kSignatureBytes;
  while (file.size() - chunk >= kChunkOverheadBytes) {
    const std::size_t data_bytes = big32(file, chunk);
    if (file.size() - chunk - kChunkOverheadBytes < data_bytes) {
      break;
    }
    if (textAt(file, chunk + 4, "IEND")) {
      header.complete = true;
      break;
    }
    chunk += kChunkOverheadBytes + data_bytes;
  }
  return header;
}

bool isStartOfFrame(std::uint8_t marker) {
  constexpr std::array<std::uint8_t, 3> kOthersInRange = {0xC4, 0xC8, 0xCC}; // Huffman tables, reserved, arithmetic coding
  return marker >= 0xC0 && marker <= 0xCF &&
         std::find(kOthersInRange.begin(), kOthersInRange.end(), marker) == kOthersInRange.end();
}

// Where the next marker stands at or after an offset: an 0xFF before a byte that is neither stuffing (0), nor fill (0xFF), nor a
// restart within a scan. The file's size when there is none.
std::size_t nextMarker(Bytes file, std::size_t at) {
  for (; at + 1 < file.size(); ++at) {
    const std::uint8_t code = file[at + 1];
    const bool is_restart = code >= 0xD0 && code <= 0xD7;
    if (file[at] == 0xFF && code != 0 && code != 0xFF && !is_restart) {
      return at;
    }
  }
  return file.size();
}

ImageHeader readJpeg(Bytes file) {
  constexpr std::uint8_t kEndOfImage = 0xD9;
  constexpr std::uint8_t kStartOfScan = 0xDA;
  ImageHeader header;
  bool scan_seen = false;
  std::size_t marker = nextMarker(file, 2);
  while (file.size() - marker >= 4) {
    const std::uint8_t code = file[marker + 1];
    if (code == kEndOfImage) {
      break;
    }
    const std::size_t segment_bytes = big16(file, marker + 2);
    if (file.size() - marker - 2 < segment_bytes) {
      return header;
    }
    if (isStartOfFrame(code) && segment_bytes >= 8) {
      header.height = big16(file, marker + 5);
      header.width = big16(file, marker + 7);
    }
    scan_seen = scan_seen || code == kStartOfScan;
    marker = nextMarker(file, marker + 2 + segment_bytes);
  }
  header.complete = scan_seen && file.size() - marker >= 2 && file[marker + 1] == kEndOfImage;
  return header;
}

ImageHeader readWebp(Bytes file) {
  ImageHeader header;
  if (textAt(file, 12, "VP8X") && file.size() >= 30) {
    header.width = little24(file, 24) + 1;
    header.height = little24(file, 27) + 1;
  } else if (textAt(file, 12, "VP8L") && file.size() >= 25) {
    const std::uint32_t sizes = little32(file, 21);
    header.width = (sizes & 0x3FFFU) + 1;
    header.height = (sizes >> 14U & 0x3FFFU) + 1;
  } else if (textAt(file, 12, "VP8 ") && file.size() >= 30) {
    header.width = little16(file, 26) & 0x3FFFU;
    header.height = little16(file, 28) & 0x3FFFU;
  }
  header.complete = file.size() >= 12 && file.size() >= std::size_t{little32(file, 4)} + 8;
  return header;
}

ImageHeader readBmp(Bytes file) {
  constexpr std::size_t kOs2HeaderBytes = 12;
  ImageHeader header;
  if (file.size() < 34) {
    return header;
  }
  const std::size_t pixels_at = little32(file, 10);
  std::uint64_t bits_per_pixel = 0;
  bool run_length_coded = false;
  if (little32(file, 14) == kOs2HeaderBytes) {
    header.width = little16(file, 18);
    header.height = little16(file, 20);
    bits_per_pixel = little16(file, 24);
  } else {
    const auto height = static_cast<std::int32_t>(little32(file, 22)); // negative: rows from top to bottom
    header.width = little32(file, 18);
    header.height = static_cast<std::uint64_t>(std::abs(std::int64_t{height}));
    bits_per_pixel = little16(file, 28);
    const std::uint32_t compression = little32(file, 30);
    run_length_coded = compression == 1 || compression == 2;
  }
  const std::uint64_t row_bytes = (header.width * bits_per_pixel + 31) / 32 * 4;
  const std::uint64_t pixel_bytes = run_length_coded ? 1 : row_bytes * header.height;
  const std::uint64_t announced_bytes = run_length_coded ? little32(file, 2) : 0;
  header.complete = file.size() >= pixels_at && file.size() - pixels_at >= pixel_bytes && file.size() >= announced_bytes;
  return header;
}

} // namespace

std::optional<ImageHeader> readImageHeader(Bytes file) {
  if (textAt(file, 0, "\x89PNG\r\n\x1A\n")) {
    return readPng(file);
  }
  if (textAt(file, 0, "\xFF\xD8\xFF")) {
    return readJpeg(file);
  }
  if (textAt(file, 0, "RIFF") && textAt(file, 8, "WEBP")) {
    return readWebp(file);
  }
  if (textAt(file, 0, "BM") && file.size() >= 14) {
    return readBmp(file);
  }
  return std::nullopt;
}

} // namespace vorin::stylize
