// A buffer whose end is watched: a zone of known bytes behind it shows any write past it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorin::tests {

class GuardedBuffer {
public:
  explicit GuardedBuffer(std::size_t size, std::uint8_t fill = 0xCD) : size_(size), bytes_(size + kGuardBytes, kGuard) {
    std::fill_n(bytes_.begin(), size, fill);
  }

  std::uint8_t* data() { return bytes_.data(); }
  const std::uint8_t* data() const { return bytes_.data(); }
  std::size_t size() const { return size_; }
  std::uint8_t operator[](std::size_t index) const { return bytes_[index]; }
  std::vector<std::uint8_t> content() const { return {bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size_)}; }

  bool guardIntact() const {
    return std::all_of(bytes_.begin() + static_cast<std::ptrdiff_t>(size_), bytes_.end(),
                       [](std::uint8_t byte) { return byte == kGuard; });
  }

  // Whether nothing has written into the buffer since it was made with `fill`.
  bool untouched(std::uint8_t fill = 0xCD) const {
    return std::all_of(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size_),
                       [fill](std::uint8_t byte) { return byte == fill; });
  }

private:
  static constexpr std::size_t kGuardBytes = 4096;
  static constexpr std::uint8_t kGuard = 0xA7;

  std::size_t size_;
  std::vector<std::uint8_t> bytes_;
};

} // namespace vorin::tests
