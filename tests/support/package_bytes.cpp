#include "support/package_bytes.h"

#include <algorithm>
#include <fstream>
#include <ostream>
#include <random>
#include <stdexcept>

namespace vorin::tests {
namespace {

std::string numberBytes(std::uint32_t value) {
  return {static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8U & 0xFFU), static_cast<char>(value >> 16U & 0xFFU),
          static_cast<char>(value >> 24U)};
}

} // namespace

std::uint32_t numberAt(const std::string& bytes, std::size_t position) {
  std::uint32_t value = 0;
  for (std::size_t index = 4; index-- > 0;) {
    value = value * 256 + static_cast<unsigned char>(bytes.at(position + index));
  }
  return value;
}

void PrintTo(const NamedContent& entry, std::ostream* stream) {
  *stream << entry.name << " (" << entry.content.size() << " bytes)";
}

std::string recordBytes(const std::string& name, std::uint32_t size_bytes, std::uint32_t offset_bytes) {
  return name + '\0' + numberBytes(size_bytes) + numberBytes(offset_bytes);
}

std::string scrambled(std::string plain) {
  for (char& character : plain) {
    character = static_cast<char>(character ^ 0x3C);
  }
  return plain;
}

std::string packageBytes(const std::vector<NamedContent>& entries) {
  std::size_t offset_bytes = 9;
  for (const NamedContent& entry : entries) {
    offset_bytes += entry.name.size() + 9;
  }
  std::string directory;
  std::string data;
  for (const NamedContent& entry : entries) {
    directory +=
        recordBytes(entry.name, static_cast<std::uint32_t>(entry.content.size()), static_cast<std::uint32_t>(offset_bytes));
    data += scrambled(entry.content);
    offset_bytes += entry.content.size();
  }
  return directory + recordBytes("", 0, 0) + data;
}

std::vector<NamedContent> entriesOf(const std::string& package) {
  std::vector<NamedContent> entries;
  for (std::size_t position = 0;;) {
    const std::size_t end = package.find('\0', position);
    if (end == std::string::npos) {
      throw std::runtime_error("the directory has no end");
    }
    const std::string name = package.substr(position, end - position);
    const std::uint32_t size_bytes = numberAt(package, end + 1);
    const std::uint32_t offset_bytes = numberAt(package, end + 5);
    position = end + 9;
    if (name.empty()) {
      return entries;
    }
    if (std::uint64_t{offset_bytes} + size_bytes > package.size()) {
      throw std::runtime_error("an entry runs past the end");
    }
    entries.push_back({name, scrambled(package.substr(offset_bytes, size_bytes))});
  }
}

std::string randomBytes(std::size_t count, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(count, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
  return bytes;
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  if (!file.flush()) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

} // namespace vorin::tests
