// What both temporal smoothings share: a pixel has changed when any of its three bytes differs by 10 or more from the same byte
// of the previous image; a pixel that has not changed is held where it was.
//
// Idea: loops over bytes without a branch, which compilers vectorise. A row is worked on in strips whose
// marks fit on the stack. The three bytes of a pixel are made to agree by marking its first byte for all three, and then each
// byte for the two before it.
#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace vorin::neural {

constexpr std::uint8_t kChangedByte = 10; // the smallest difference of a byte that makes its pixel a changed one
constexpr std::size_t kStripBytes = std::size_t{3} * 256;

using StripMarks = std::array<std::uint8_t, kStripBytes + 2>; // room to look two bytes ahead or back

// Both smoothings blend an unchanged pixel so near to `previous` that the sum lies less than 1 from it: it is cut to `previous`
// or, below it, to one less. Rounding never takes it over a whole number: true for all pairs of bytes and all weights, by trial.
inline std::uint8_t heldByte(std::uint8_t current, std::uint8_t previous) {
  return static_cast<std::uint8_t>(previous - (current < previous ? 1 : 0));
}

// Marks the bytes of changed pixels with 255 and the others with 0. `count`: whole pixels, at most a strip.
inline void markChanged(const std::uint8_t* current, const std::uint8_t* previous, std::size_t count, StripMarks& changed) {
  static constexpr auto kFirstBytes = [] {
    std::array<std::uint8_t, kStripBytes> marks{};
    for (std::size_t byte = 0; byte < marks.size(); byte += 3) {
      marks[byte] = 255;
    }
    return marks;
  }();
  StripMarks differs{};
  for (std::size_t byte = 0; byte < count; ++byte) {
    const int difference = std::max(current[byte], previous[byte]) - std::min(current[byte], previous[byte]);
    differs[byte] = static_cast<std::uint8_t>(difference) >= kChangedByte ? 255 : 0;
  }
  StripMarks pixels{}; // the first byte of a changed pixel, two places further on
  for (std::size_t byte = 0; byte < count; ++byte) {
    pixels[byte + 2] = (differs[byte] | differs[byte + 1] | differs[byte + 2]) & kFirstBytes[byte];
  }
  for (std::size_t byte = 0; byte < count; ++byte) {
    changed[byte] = pixels[byte] | pixels[byte + 1] | pixels[byte + 2];
  }
}

// Replaces the bytes of changed pixels by changedByte(current, previous), and holds the others. Both images 8-bit, 3 channels, of
// one size; their rows may be padded.
template <typename ChangedByte> void smoothPixels(cv::Mat& image, const cv::Mat& previous, ChangedByte changedByte) {
  const std::size_t row_bytes = 3 * static_cast<std::size_t>(image.cols);
  StripMarks changed;
  for (int row = 0; row < image.rows; ++row) {
    for (std::size_t first = 0; first < row_bytes; first += kStripBytes) {
      std::uint8_t* const now = image.ptr<std::uint8_t>(row) + first;
      const std::uint8_t* const before = previous.ptr<std::uint8_t>(row) + first;
      const std::size_t count = std::min(kStripBytes, row_bytes - first);
      markChanged(now, before, count, changed);
      for (std::size_t byte = 0; byte < count; ++byte) {
        const int held = heldByte(now[byte], before[byte]) & ~changed[byte];
        now[byte] = static_cast<std::uint8_t>((changedByte(now[byte], before[byte]) & changed[byte]) | held);
      }
    }
  }
}

} // namespace vorin::neural
