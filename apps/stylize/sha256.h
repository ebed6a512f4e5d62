// sha256.h: SHA-256 sums, by the system's own library: OpenSSL's, or on Windows BCrypt.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace vorin::stylize {

class Sha256 {
public:
  Sha256(); // throws std::runtime_error where the library does not start
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void add(std::span<const std::uint8_t> bytes);
  std::string hexadecimal(); // once, at the end: 64 small digits

private:
  struct State;
  std::unique_ptr<State> state_;
};

// Of a part of a file, each byte of which is XORed with the mask first. Throws a Failure where it cannot be read.
std::string sha256OfFile(const std::filesystem::path& file, std::uint64_t offset_bytes, std::uint64_t size_bytes,
                         std::uint8_t mask = 0);

// Two small digits a byte.
std::string hexadecimalText(std::span<const std::uint8_t> bytes);

} // namespace vorin::stylize
