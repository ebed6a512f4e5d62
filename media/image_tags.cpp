// What image files say besides their pixels: how the camera was held, EXIF data, colour profile, density.
#include "image_bytes.h"
#include "image_codec.h"

#include <cmath>
#include <map>
#include <tuple>
#include <utility>

namespace vorin::media {
namespace {

constexpr std::string_view kExifHead("Exif\0\0", 6);
constexpr std::string_view kIccHead("ICC_PROFILE\0", 12);
constexpr std::string_view kJfifHead("JFIF\0", 5);
constexpr double kMetresInAnInch = 0.0254;

// Calls visit(name, content) for each segment of a JPEG file in front of its pixels.
template <typename Visit> void visitSegments(Bytes file, const Visit& visit) {
  constexpr std::uint8_t kStartOfScan = 0xDA;
  for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF;) {
    const std::size_t segment_bytes = readNumber(file, at + 2, 2, true); // the two of the length included
    if (file[at + 1] == kStartOfScan || segment_bytes < 2 || file.size() - at - 2 < segment_bytes) {
      return;
    }
    visit(file.subspan(at + 1, 1), file.subspan(at + 4, segment_bytes - 2));
    at += 2 + segment_bytes;
  }
}

// The same for the chunks of a PNG file: length, name, content, checksum; and of a WebP file: name, length, content, which is
// padded to an even length.
template <typename Visit> void visitChunks(Bytes file, bool is_png, const Visit& visit) {
  const std::size_t around_bytes = is_png ? 12 : 8;
  for (std::size_t at = is_png ? 8 : 12; at + around_bytes <= file.size();) {
    const std::size_t content_bytes = readNumber(file, is_png ? at : at + 4, 4, is_png);
    if (file.size() - at - around_bytes < content_bytes) {
      return;
    }
    visit(file.subspan(is_png ? at + 4 : at, 4), file.subspan(at + 8, content_bytes));
    at += around_bytes + content_bytes + (is_png ? 0 : content_bytes % 2);
  }
}

template <typename Visit> void visitParts(Bytes file, const Visit& visit) {
  switch (imageKindOf(file)) {
  case ImageKind::kJpeg:
    visitSegments(file, visit);
    return;
  case ImageKind::kPng:
  case ImageKind::kWebp:
    visitChunks(file, imageKindOf(file) == ImageKind::kPng, visit);
    return;
  default:
    return;
  }
}

// Empty without one. Some programs begin the EXIF data of WebP files as in a JPEG file.
Bytes exifIn(Bytes file) {
  Bytes exif;
  visitParts(file, [&](Bytes name, Bytes content) {
    const bool is_segment = textAt(name, 0, "\xE1") && name.size() == 1;
    const bool has_head = textAt(content, 0, kExifHead);
    if (exif.empty() && ((is_segment && has_head) || textAt(name, 0, "eXIf") || textAt(name, 0, "EXIF"))) {
      exif = has_head ? content.subspan(kExifHead.size()) : content;
    }
  });
  return exif;
}

std::vector<std::uint8_t> copyOf(Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

// In a JPEG file a profile may be cut into numbered parts.
std::vector<std::uint8_t> profileIn(Bytes file) {
  std::map<int, Bytes> parts;
  std::size_t count = 1;
  visitParts(file, [&](Bytes name, Bytes content) {
    if (textAt(name, 0, "\xE2") && name.size() == 1 && textAt(content, 0, kIccHead) && content.size() > 14) {
      parts[content[12]] = content.subspan(14);
      count = content[13];
    } else if (textAt(name, 0, "ICCP")) {
      parts[1] = content;
    }
  });
  std::vector<std::uint8_t> profile = imageKindOf(file) == ImageKind::kPng ? pngProfile(file) : std::vector<std::uint8_t>();
  for (const auto& [number, part] : parts) {
    profile.insert(profile.end(), part.begin(), part.end());
  }
  constexpr std::size_t kHeaderBytes = 128;
  const bool is_whole = parts.size() <= 1 || parts.size() == count;
  const bool is_profile =
      profile.size() > kHeaderBytes && textAt(profile, 36, "acsp") && readNumber(profile, 0, 4, true) == profile.size();
  return is_whole && is_profile ? profile : std::vector<std::uint8_t>();
}

void readDensity(Bytes file, ImageTags& tags) {
  visitParts(file, [&](Bytes name, Bytes content) {
    constexpr std::uint32_t kInches = 1;
    constexpr std::uint32_t kCentimetres = 2;
    const bool is_jfif = textAt(content, 0, kJfifHead) && textAt(name, 0, "\xE0");
    const bool is_png = textAt(name, 0, "pHYs");
    const std::uint32_t unit = readNumber(content, is_jfif ? 7 : 8, 1, true);
    const double factor = is_png && unit == 1               ? 1
                          : is_jfif && unit == kInches      ? 1 / kMetresInAnInch
                          : is_jfif && unit == kCentimetres ? 100
                                                            : 0;
    const auto side = [&](std::size_t number) {
      const std::uint32_t value =
          is_jfif ? readNumber(content, 8 + 2 * number, 2, true) : readNumber(content, 4 * number, 4, true);
      return static_cast<std::uint32_t>(std::llround(value * factor));
    };
    if (factor > 0 && side(0) > 0 && side(1) > 0) {
      tags.pixels_per_metre_x = side(0);
      tags.pixels_per_metre_y = side(1);
    }
  });
}

void setNumber(std::vector<std::uint8_t>& tiff, const TiffNumber& place, std::uint32_t value) {
  for (std::size_t index = 0; index < place.bytes; ++index) {
    const bool big_endian = tiff[0] == 'M';
    const std::size_t shift = 8 * (big_endian ? place.bytes - 1 - index : index);
    tiff[place.offset + index] = static_cast<std::uint8_t>(value >> shift);
  }
}

constexpr std::uint32_t kOrientation = 0x0112;
constexpr std::uint32_t kUpright = 1;

// Takes out the second directory, which holds a small picture of the unchanged image.
void removePreview(std::vector<std::uint8_t>& exif) {
  constexpr std::uint32_t kPreviewOffset = 0x0201;
  constexpr std::uint32_t kPreviewBytes = 0x0202;
  const TiffNumber link = {endOfEntries(exif, firstDirectory(exif)), 4};
  if (link.offset + link.bytes > exif.size()) {
    return;
  }
  const std::size_t directory = readNumber(exif, link.offset, link.bytes, exif[0] == 'M');
  const std::size_t begin = tagIn(exif, directory, kPreviewOffset);
  const std::size_t bytes = tagIn(exif, directory, kPreviewBytes);
  setNumber(exif, link, 0);
  if (begin <= exif.size() && bytes <= exif.size() - begin) {
    const auto first = exif.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = first + static_cast<std::ptrdiff_t>(bytes);
    if (last == exif.end() && begin > link.offset + link.bytes) {
      exif.erase(first, last);
    } else {
      std::fill(std::max(first, exif.begin() + 8), std::max(last, exif.begin() + 8), std::uint8_t{0});
    }
  }
}

// Of a picture whose rows become columns. A TIFF entry is its tag, and 10 bytes, which change places whatever their type.
void exchangeDensities(ImageTags& tags) {
  constexpr std::uint32_t kPixelsAcross = 0x011A; // for a unit of length
  constexpr std::uint32_t kPixelsDown = 0x011B;
  std::swap(tags.pixels_per_metre_x, tags.pixels_per_metre_y);
  const TiffNumber across = findTag(tags.exif, firstDirectory(tags.exif), kPixelsAcross);
  const TiffNumber down = findTag(tags.exif, firstDirectory(tags.exif), kPixelsDown);
  if (across.bytes > 0 && down.bytes > 0) {
    const auto rest = [&](const TiffNumber& number) {
      return tags.exif.begin() + static_cast<std::ptrdiff_t>(number.offset) - 6;
    };
    std::swap_ranges(rest(across), rest(across) + 10, rest(down));
  }
}

} // namespace

int imageOrientation(Bytes file) {
  const Bytes tiff = imageKindOf(file) == ImageKind::kTiff ? file : exifIn(file);
  const std::uint32_t value = tagIn(tiff, firstDirectory(tiff), kOrientation);
  return static_cast<int>(value >= 1 && value <= 8 ? value : kUpright);
}

ImageTags imageTags(Bytes file) {
  ImageTags tags;
  tags.profile = profileIn(file);
  tags.exif = copyOf(exifIn(file));
  readDensity(file, tags);
  if (imageOrientation(file) >= 5) {
    exchangeDensities(tags);
  }
  if (firstDirectory(tags.exif) == 0) {
    tags.exif.clear();
    return tags;
  }
  setNumber(tags.exif, findTag(tags.exif, firstDirectory(tags.exif), kOrientation), kUpright);
  removePreview(tags.exif);
  return tags;
}

void setExifSize(std::vector<std::uint8_t>& exif, int width, int height) {
  constexpr std::uint32_t kMoreTags = 0x8769;
  const std::size_t first = firstDirectory(exif);
  const std::size_t more = tagIn(exif, first, kMoreTags);
  for (const auto& [directory, tag, side] :
       {std::tuple(first, 0x0100U, width), {first, 0x0101U, height}, {more, 0xA002U, width}, {more, 0xA003U, height}}) {
    setNumber(exif, findTag(exif, directory, tag), static_cast<std::uint32_t>(side));
  }
}

} // namespace vorin::media
