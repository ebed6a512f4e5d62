// Which pixels of an image moved: a pixel has changed when any of its three bytes differs by 10 or more from the same byte of the
// previous image. Both temporal smoothings ask this of every pixel before they look at a byte.
//
// Idea: 16 pixels at a time, their bytes left interleaved. Comparing gives a bit for each of the 48 bytes; shifting and
// multiplying that one number makes the bits of a pixel agree. Mostly neighbours moved together or not at all, and the number is
// nothing but zeros or nothing but ones; only a mixed one is turned back into bytes.
#pragma once

#include <opencv2/core/hal/intrin.hpp>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace vorin::neural {

// The smallest difference of a byte that makes its pixel a changed one.
inline constexpr int kChangedByte = 10;

inline bool pixelChanged(const std::uint8_t* current, const std::uint8_t* previous) {
  return std::abs(current[0] - previous[0]) >= kChangedByte || std::abs(current[1] - previous[1]) >= kChangedByte ||
         std::abs(current[2] - previous[2]) >= kChangedByte;
}

#if CV_SIMD128

inline constexpr int kVectorBytes = 16;
inline constexpr int kStepBytes = 3 * kVectorBytes; // the shortest run of whole vectors that ends with a pixel
inline constexpr std::uint64_t kAllChanged = (std::uint64_t{1} << kStepBytes) - 1;

// One bit for each of the 48 bytes from the pointers on, the first byte's lowest: set when the byte's pixel has changed.
inline std::uint64_t changedBits(const std::uint8_t* current, const std::uint8_t* previous) {
  const cv::v_uint8x16 threshold = cv::v_setall_u8(kChangedByte);
  std::uint64_t differs = 0;
  for (int byte = 0; byte < kStepBytes; byte += kVectorBytes) {
    const cv::v_uint8x16 difference = cv::v_absdiff(cv::v_load(current + byte), cv::v_load(previous + byte));
    const int signs = cv::v_signmask(cv::v_max(difference, threshold) == difference);
    differs |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(signs)) << byte;
  }
  constexpr std::uint64_t kFirstBytes = kAllChanged / 7; // every third bit
  return ((differs | differs >> 1 | differs >> 2) & kFirstBytes) * 7;
}

// For each value of eight bits the eight bytes that are all ones where the bit is set.
inline constexpr std::array<std::array<std::uint8_t, 8>, 256> kBytesOfBits = [] {
  std::array<std::array<std::uint8_t, 8>, 256> table{};
  for (unsigned bits = 0; bits < 256; ++bits) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      table[bits][bit] = (bits >> bit & 1U) != 0 ? 0xFF : 0;
    }
  }
  return table;
}();

// A vector of bytes that are all ones where the bit from `first_byte` on is set.
inline cv::v_uint8x16 bytesOfBits(std::uint64_t bits, int first_byte) {
  const std::uint64_t wanted = bits >> first_byte;
  return cv::v_load_halves(kBytesOfBits[wanted & 0xFF].data(), kBytesOfBits[wanted >> 8 & 0xFF].data());
}

#endif

} // namespace vorin::neural
