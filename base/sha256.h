// sha256.h: computes SHA-256 sums by the system's own library: OpenSSL's libcrypto, on Windows BCrypt.
#pragma once

#include "text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <fstream>
#include <memory>

namespace vorin::base {

class Sha256 {
public:
  Sha256(); // throws an Error if the system's library fails, as the other functions do
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void add(std::span<const std::uint8_t> bytes);
  std::string hexadecimal(); // once, at the end: 64 lower-case digits

private:
  struct State;
  std::unique_ptr<State> state_;
};

// The sum of a part of a file, each byte of which is XORed with the mask first. Throws Error(kInputOutput) if the part cannot be
// read.
inline std::string sha256OfFile(const std::filesystem::path& file, std::uint64_t offset_bytes, std::uint64_t size_bytes,
                                std::uint8_t mask = 0) {
  constexpr std::uint64_t kPartBytes = std::uint64_t{1} << 20;
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(offset_bytes));
  std::vector<std::uint8_t> part(static_cast<std::size_t>(std::min(kPartBytes, size_bytes)));
  Sha256 sum;
  while (size_bytes > 0) {
    part.resize(static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), size_bytes)));
    if (!stream.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(part.size()))) {
      throw Error(ErrorKind::kInputOutput, quotedPath(file) + " cannot be read: check its permissions");
    }
    std::for_each(part.begin(), part.end(), [&](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(byte ^ mask); });
    sum.add(part);
    size_bytes -= part.size();
  }
  return sum.hexadecimal();
}

} // namespace vorin::base
