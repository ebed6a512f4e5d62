// Packages as plain bytes, written and read by the tests themselves. A package is a directory of records (name, zero byte, size
// and offset as 32-bit little-endian numbers), ended by one with an empty name, and the entries' bytes anywhere in the file, each
// XORed with 0x3C.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vorin::tests {

struct NamedContent {
  std::string name;
  std::string content;

  bool operator==(const NamedContent&) const = default;
};

void PrintTo(const NamedContent& entry, std::ostream* stream);

std::string recordBytes(const std::string& name, std::uint32_t size_bytes, std::uint32_t offset_bytes);
std::uint32_t numberAt(const std::string& bytes, std::size_t position);
std::string scrambled(std::string plain);

// A sound package with the entries in this order.
std::string packageBytes(const std::vector<NamedContent>& entries);

// The entries of a sound package, in their order; throws where the bytes are none.
std::vector<NamedContent> entriesOf(const std::string& package);

// Bytes of all values, the same for the same seed.
std::string randomBytes(std::size_t count, std::uint32_t seed);

void writeFile(const std::filesystem::path& path, const std::string& content);

} // namespace vorin::tests
