// package_directory.h: all that a package's directory says, read strictly.
//
// The library's own reader looks for one name, stops there, and waits for the bytes of an incomplete entry; this one reads the
// whole directory of whatever file it gets and tells what the library would stumble over. The format is described in
// src/modelpack/model_package_reader.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vorin::pack {

struct PackageEntry {
  std::string name;
  std::uint32_t size_bytes = 0;
  std::uint32_t offset_bytes = 0;
  std::string problem; // what makes the entry unreadable, and how to mend it; empty for a sound one
};

struct PackageDirectory {
  std::vector<PackageEntry> entries;
  std::string problem; // what is wrong with the directory itself, and how to mend it; empty for a sound one

  // All problems, one a line for the user.
  std::vector<std::string> problems() const;

  // The entry that the library would find: the first of that name. Null when there is none.
  const PackageEntry* find(const std::string& name) const;
};

// Throws a Failure when the file cannot be read at all; what a readable file holds is told by the result.
PackageDirectory readPackageDirectory(const std::filesystem::path& package);

// Hands out the bytes of a sound entry, part by part.
void readEntry(const std::filesystem::path& package, const PackageEntry& entry,
               const std::function<void(std::span<const std::uint8_t>)>& take);

} // namespace vorin::pack
