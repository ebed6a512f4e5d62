// All that a package's directory says, read strictly.
//
// The library's own reader looks for one name, stops there, and waits for the bytes of an incomplete entry; this one reads the
// whole directory of any file and reports what would make the library fail. model_package_reader.h describes the format. The
// functions throw Error(kModel) with one line for the user.
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

// Throws only when the file cannot be read at all; the result tells what is wrong with its content.
PackageDirectory readPackageDirectory(const std::filesystem::path& package);

// Passes the bytes of a sound entry to `take`, part by part. An exception of `take` ends the reading.
void readEntry(const std::filesystem::path& package, const PackageEntry& entry,
               const std::function<void(std::span<const std::uint8_t>)>& take);

} // namespace vorin::modelpack
