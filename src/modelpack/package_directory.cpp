#include "modelpack/package_directory.h"

#include "modelpack/model_package_format.h"
#include "text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <set>

namespace vorin::modelpack {
namespace {

namespace fs = std::filesystem;
using base::quoted;

constexpr const char* kBuildAnew = ": build the package anew";

Error failure(const fs::path& package, const std::string& why) {
  return {ErrorKind::kModel, base::quotedPath(package) + why};
}

std::ifstream openPackage(const fs::path& package) {
  std::error_code error;
  const fs::file_status status = fs::status(package, error);
  if (!fs::exists(status)) {
    throw failure(package, " does not exist: name a package file");
  }
  if (!fs::is_regular_file(status)) {
    throw failure(package, " is not a file: name a package file");
  }
  std::ifstream file(package, std::ios::binary);
  if (!file) {
    throw failure(package, " cannot be read: check its permissions");
  }
  return file;
}

std::optional<std::uint32_t> readNumber(std::istream& file) {
  std::array<char, 4> bytes{};
  if (!file.read(bytes.data(), bytes.size())) {
    return std::nullopt;
  }
  std::uint32_t value = 0;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    value |= std::uint32_t{static_cast<unsigned char>(bytes[index])} << (8 * index);
  }
  return value;
}

// Reads the next entry, also the last one with its empty name. Nothing if the directory breaks off; `problem` says why.
std::optional<PackageEntry> readRecord(std::istream& file, std::string& problem) {
  PackageEntry entry;
  char character = 0;
  while (file.get(character) && character != '\0') {
    entry.name += character;
    if (entry.name.size() >= kNameBufferBytes) {
      problem = "the directory holds a name of more than " + std::to_string(kNameBufferBytes - 1) +
                " bytes, so this is no package or a damaged one" + kBuildAnew;
      return std::nullopt;
    }
  }
  const std::optional<std::uint32_t> size_bytes = readNumber(file);
  const std::optional<std::uint32_t> offset_bytes = readNumber(file);
  if (!size_bytes || !offset_bytes) {
    problem = std::string("the directory ends early, so this is no package or a damaged one") + kBuildAnew;
    return std::nullopt;
  }
  entry.size_bytes = *size_bytes;
  entry.offset_bytes = *offset_bytes;
  return entry;
}

std::string problemOf(const PackageEntry& entry, std::uint64_t package_bytes) {
  if (entry.size_bytes > kMaxEntryBytes) {
    return "has a size of " + std::to_string(entry.size_bytes) +
           " bytes, and the library reads no package beyond an entry above " + std::to_string(kMaxEntryBytes) + kBuildAnew;
  }
  if (entry.offset_bytes > kMaxEntryOffset) {
    return "lies beyond the first 2 GiB, where the library does not reach" + std::string(kBuildAnew) + " with fewer networks";
  }
  const std::uint64_t end = std::uint64_t{entry.offset_bytes} + entry.size_bytes;
  if (entry.size_bytes > 0 && end > package_bytes) {
    return "runs " + std::to_string(end - package_bytes) +
           " bytes past the end of the file, and the library would wait for them without end: copy or build the package anew";
  }
  return {};
}

} // namespace

std::vector<std::string> PackageDirectory::problems() const {
  std::vector<std::string> lines;
  std::set<std::string> seen;
  for (const PackageEntry& entry : entries) {
    if (!entry.problem.empty()) {
      lines.push_back("entry " + quoted(entry.name) + " " + entry.problem);
    }
    if (!seen.insert(entry.name).second) {
      lines.push_back("entry " + quoted(entry.name) + " is there more than once, and the library sees the first only" +
                      kBuildAnew);
    }
  }
  if (!problem.empty()) {
    lines.push_back(problem);
  }
  return lines;
}

const PackageEntry* PackageDirectory::find(const std::string& name) const {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const PackageEntry& entry) { return entry.name == name; });
  return found == entries.end() ? nullptr : &*found;
}

PackageDirectory readPackageDirectory(const fs::path& package) {
  std::ifstream file = openPackage(package);
  const std::uint64_t package_bytes = fs::file_size(package);
  PackageDirectory directory;
  for (;;) {
    std::optional<PackageEntry> entry = readRecord(file, directory.problem);
    if (!entry) {
      return directory;
    }
    if (entry->name.empty()) {
      if (entry->size_bytes > kMaxEntryBytes) {
        directory.problem = "the record that ends the directory " + problemOf(*entry, package_bytes);
      }
      return directory;
    }
    entry->problem = problemOf(*entry, package_bytes);
    directory.entries.push_back(std::move(*entry));
  }
}

void readEntry(const fs::path& package, const PackageEntry& entry,
               const std::function<void(std::span<const std::uint8_t>)>& take) {
  std::ifstream file = openPackage(package);
  file.seekg(entry.offset_bytes);
  std::vector<std::uint8_t> part(std::size_t{1} << 16U);
  for (std::size_t remaining = entry.size_bytes; remaining > 0;) {
    const std::size_t count = std::min(remaining, part.size());
    if (!file.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(count))) {
      throw failure(package,
                    " cannot be read to the end of " + quoted(entry.name) + ": check that no other program is changing it");
    }
    const std::span<std::uint8_t> bytes = std::span(part).first(count);
    for (std::uint8_t& byte : bytes) {
      byte ^= kPackageKey;
    }
    take(bytes);
    remaining -= count;
  }
}

} // namespace vorin::modelpack
