// Reads a package's directory strictly.
//
// The library's own reader looks for one name, stops there, and waits for the bytes of an incomplete entry; this one reads the
// whole directory of any file and reports every fault that would make the library fail. model_package_reader.h describes the
// format. The functions throw Error(kModel) with one line for the user.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vorin::modelpack {

struct PackageEntry {
  std::string name;
  std::uint32_t size_bytes = 0;
  std::uint32_t offset_bytes = 0;
  std::string problem; // why the entry cannot be read, and how to mend it; empty if it can
};

struct PackageDirectory {
  std::vector<PackageEntry> entries;
  std::string problem; // what is wrong with the directory itself, and how to mend it; empty if nothing

  // All problems, one a line for the user.
  std::vector<std::string> problems() const;

  // Returns the entry that the library would find: the first of that name. Null if there is none.
  const PackageEntry* find(const std::string& name) const;
};

// Throws only when the file cannot be read at all; the result reports the faults of its content.
PackageDirectory readPackageDirectory(const std::filesystem::path& package);

// Passes the bytes of a sound entry to `take`, part by part. An exception of `take` ends the reading.
void readEntry(const std::filesystem::path& package, const PackageEntry& entry,
               const std::function<void(std::span<const std::uint8_t>)>& take);

} // namespace vorin::modelpack
