// pipe_transfer.h: whole pieces of bytes through a pipe, which by itself gives and takes them in any portion. Waiting for the
// other end can be interrupted from another thread. For the inside of this folder.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vorin::media {

class PipeEnd {
public:
  // The descriptor stays the caller's.
  explicit PipeEnd(int descriptor) : descriptor_(descriptor) {}

  // How many bytes came: fewer than asked for at the end of the input and when interrupted. A MediaError where reading fails.
  std::size_t read(std::span<std::uint8_t> bytes);

  // False when interrupted. A MediaError where nobody takes the bytes.
  bool write(std::span<const std::uint8_t> bytes);

  void interrupt() noexcept { interrupted_ = true; }
  bool isInterrupted() const { return interrupted_; }

private:
  bool wait(short event) const; // false when interrupted

  int descriptor_;
  std::atomic<bool> interrupted_ = false;
};

} // namespace vorin::media
