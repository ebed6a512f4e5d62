#include "bmp_codec.h"

#include "../image_header.h"
#include "../sources_and_sinks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>

namespace vorin::media {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Palette = std::array<cv::Vec3b, 256>;

constexpr std::size_t kFileHeaderBytes = 14;
constexpr std::size_t kInfoHeaderBytes = 40;
constexpr std::size_t kOs2HeaderBytes = 12;
constexpr std::size_t kMasksAt = kFileHeaderBytes + kInfoHeaderBytes;

// The numbers of biCompression.
enum Compression : std::uint32_t { kPlain = 0, kRuns8 = 1, kRuns4 = 2, kMasks = 3 };

struct Header {
  std::size_t info_bytes;
  std::size_t width;
  std::size_t height;
  std::size_t bits;
  std::uint32_t compression = kPlain;
  bool is_upside_down = true;

  bool hasIndices() const { return bits <= 8; }
  bool isOs2() const { return info_bytes == kOs2HeaderBytes; }
};

std::optional<Header> readHeader(Bytes file) {
  const ImageHeader sides = readImageHeader(file);
  Header header = {readNumber(file, kFileHeaderBytes, 4, false), sides.width, sides.height, 0};
  header.bits = readNumber(file, header.isOs2() ? 24 : 28, 2, false);
  if (!header.isOs2()) {
    header.compression = readNumber(file, 30, 4, false);
    header.is_upside_down = static_cast<std::int32_t>(readNumber(file, 22, 4, false)) > 0;
  }
  const bool is_known_header = header.isOs2() || header.info_bytes >= kInfoHeaderBytes;
  const bool is_known_kind = header.compression == kPlain   ? std::has_single_bit(header.bits) || header.bits == 24
                             : header.compression == kMasks ? header.bits == 16 || header.bits == 32
                                                            : (header.compression == kRuns8 && header.bits == 8) ||
                                                                  (header.compression == kRuns4 && header.bits == 4);
  const bool has_known_bits = header.bits >= 1 && header.bits <= 32 && header.bits != 2;
  return is_known_header && is_known_kind && has_known_bits && isUsableSize(header.width, header.height) ? std::optional(header)
                                                                                                         : std::nullopt;
}

// Entries beyond the file's are black.
Palette readPalette(Bytes file, const Header& header) {
  const std::size_t entry_bytes = header.isOs2() ? 3 : 4;
  const std::size_t used = header.isOs2() ? 0 : readNumber(file, 46, 4, false);
  const std::size_t count = std::min(used == 0 ? std::size_t{1} << header.bits : used, Palette().size());
  Palette palette{};
  for (std::size_t entry = 0; entry < count; ++entry) {
    const std::uint32_t colour = readNumber(file, kFileHeaderBytes + header.info_bytes + entry * entry_bytes, 3, false);
    palette[entry] = cv::Vec3b(static_cast<std::uint8_t>(colour), static_cast<std::uint8_t>(colour >> 8U),
                               static_cast<std::uint8_t>(colour >> 16U));
  }
  return palette;
}

// The masks of blue, green and red.
std::array<std::uint32_t, 3> readMasks(Bytes file, const Header& header) {
  if (header.compression == kMasks) {
    return {readNumber(file, kMasksAt + 8, 4, false), readNumber(file, kMasksAt + 4, 4, false),
            readNumber(file, kMasksAt, 4, false)};
  }
  return header.bits == 16 ? std::array{0x1FU, 0x3E0U, 0x7C00U} : std::array{0xFFU, 0xFF00U, 0xFF0000U};
}

std::size_t pitchBytes(const Header& header, std::size_t bits) {
  return (header.width * bits + 31) / 32 * 4;
}

// Rows of indices of 8 bits. Of two bytes, the first is how often the second's index comes. After 0 comes what else there is: 0
// ends a row, 1 the picture, 2 moves by the next two bytes, and a larger number counts the indices that follow, padded to 16
// bits.
std::optional<std::vector<std::uint8_t>> expandRuns(Bytes runs, const Header& header) {
  const std::size_t pitch_bytes = pitchBytes(header, 8);
  std::vector<std::uint8_t> indices(pitch_bytes * header.height);
  std::size_t column = 0;
  std::size_t row = 0;
  for (std::size_t at = 0; row < header.height;) {
    if (runs.size() - at < 2) {
      return std::nullopt;
    }
    const std::size_t repeats = runs[at];
    const std::uint8_t value = runs[at + 1];
    at += 2;
    const std::size_t count = repeats > 0 ? repeats : value;
    const std::size_t stored_bytes = repeats > 0 || value < 2 ? 0 : value == 2 ? 2 : (count * header.bits + 15) / 16 * 2;
    if (runs.size() - at < stored_bytes) {
      return std::nullopt;
    }
    if (repeats == 0 && value == 0) {
      column = 0;
      ++row;
    } else if (repeats == 0 && value == 1) {
      break;
    } else if (repeats == 0 && value == 2) {
      column += runs[at];
      row += runs[at + 1];
    } else {
      for (std::size_t index = 0; index < count && column < header.width; ++index, ++column) {
        const std::uint8_t byte = repeats > 0 ? value : runs[at + index * header.bits / 8];
        indices[row * pitch_bytes + column] = header.bits == 8 ? byte : index % 2 == 0 ? byte >> 4U : byte & 0xFU;
      }
    }
    at += stored_bytes;
  }
  return indices;
}

void copyIndices(const std::uint8_t* row, std::size_t bits, const Palette& palette, cv::Mat& target) {
  for (int column = 0; column < target.cols; ++column) {
    const std::size_t bit = static_cast<std::size_t>(column) * bits;
    const std::uint32_t index = row[bit / 8] >> (8 - bits - bit % 8) & ((1U << bits) - 1);
    target.at<cv::Vec3b>(column) = palette[index];
  }
}

// Each colour's highest bit becomes the highest of its byte; the bits that it lacks are 0.
void copyColours(const std::uint8_t* row, std::size_t pixel_bytes, const std::array<std::uint32_t, 3>& masks, cv::Mat& target) {
  for (int column = 0; column < target.cols; ++column, row += pixel_bytes) {
    const std::uint32_t pixel = readNumber({row, pixel_bytes}, 0, pixel_bytes, false);
    for (std::size_t colour = 0; colour < masks.size(); ++colour) {
      const std::uint32_t mask = masks[colour];
      target.at<cv::Vec3b>(column)[static_cast<int>(colour)] =
          mask == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>((pixel & mask) << std::countl_zero(mask) >> 24U);
    }
  }
}

cv::Mat copyRows(Bytes rows, std::size_t bits, Bytes file, const Header& header) {
  const std::size_t pitch_bytes = pitchBytes(header, bits);
  if (rows.size() / pitch_bytes < header.height) {
    return {};
  }
  cv::Mat bgr(static_cast<int>(header.height), static_cast<int>(header.width), CV_8UC3);
  const Palette palette = header.hasIndices() ? readPalette(file, header) : Palette();
  const auto masks = readMasks(file, header);
  for (std::size_t index = 0; index < header.height; ++index) {
    const std::uint8_t* row = rows.data() + index * pitch_bytes;
    cv::Mat target = bgr.row(static_cast<int>(header.is_upside_down ? header.height - 1 - index : index));
    if (header.hasIndices()) {
      copyIndices(row, bits, palette, target);
    } else if (bits == 24) {
      std::memcpy(target.data, row, header.width * 3);
    } else {
      copyColours(row, bits / 8, masks, target);
    }
  }
  return bgr;
}

} // namespace

cv::Mat decodeBmp(Bytes file) {
  const std::optional<Header> header = readHeader(file);
  const std::size_t pixels_at = readNumber(file, 10, 4, false);
  if (!header || pixels_at > file.size()) {
    return {};
  }
  const Bytes pixels = file.subspan(pixels_at);
  if (header->compression != kRuns8 && header->compression != kRuns4) {
    return copyRows(pixels, header->bits, file, *header);
  }
  const auto indices = expandRuns(pixels, *header);
  return indices ? copyRows(*indices, 8, file, *header) : cv::Mat();
}

std::vector<std::uint8_t> encodeBmp(const cv::Mat& bgr) {
  const std::size_t row_bytes = static_cast<std::size_t>(bgr.cols) * 3;
  const std::size_t pitch_bytes = (row_bytes + 3) / 4 * 4;
  std::vector<std::uint8_t> file(kMasksAt + pitch_bytes * static_cast<std::size_t>(bgr.rows));
  const auto put = [&](std::size_t at, std::size_t number) {
    for (std::size_t index = 0; index < 4; ++index) {
      file[at + index] = static_cast<std::uint8_t>(number >> 8 * index);
    }
  };
  file[0] = 'B';
  file[1] = 'M';
  put(2, file.size());
  put(10, kMasksAt);
  put(14, kInfoHeaderBytes);
  put(18, static_cast<std::size_t>(bgr.cols));
  put(22, static_cast<std::size_t>(bgr.rows));
  put(26, 24U << 16U | 1U); // 24 bits in one plane
  for (int row = 0; row < bgr.rows; ++row) {
    std::memcpy(file.data() + kMasksAt + pitch_bytes * static_cast<std::size_t>(bgr.rows - 1 - row), bgr.ptr(row), row_bytes);
  }
  return file;
}

} // namespace vorin::media
