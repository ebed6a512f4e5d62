#include "sha256.h"

#include "exit_status.h"
#include "quoted_name.h"

#include <algorithm>
#include <fstream>
#include <string_view>
#include <vector>

namespace vorin::stylize {

std::string sha256OfFile(const std::filesystem::path& file, std::uint64_t offset_bytes, std::uint64_t size_bytes,
                         std::uint8_t mask) {
  constexpr std::uint64_t kPartBytes = std::uint64_t{1} << 20;
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(offset_bytes));
  std::vector<std::uint8_t> part(static_cast<std::size_t>(std::min(kPartBytes, size_bytes)));
  Sha256 sum;
  while (size_bytes > 0) {
    part.resize(static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), size_bytes)));
    if (!stream.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(part.size()))) {
      throw Failure(ExitStatus::kInputOutput, base::quotedPath(file) + " cannot be read: check its permissions");
    }
    std::transform(part.begin(), part.end(), part.begin(),
                   [&](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ mask); });
    sum.add(part);
    size_bytes -= part.size();
  }
  return sum.hexadecimal();
}

std::string hexadecimalText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

} // namespace vorin::stylize
