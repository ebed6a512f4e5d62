// model_package.h: the packed file of the networks, "model_st.bin", as far as the program looks into it before the library does.
//
// The library says only that a network cannot be prepared, not why, and it waits without end for an entry that runs past the end
// of the file. So the program reads the directory first and knows what to tell. The file begins with records of a name that ends
// with a zero byte, the entry's size in bytes and its offset (32 bits each, little-endian); an empty name ends the directory.
#pragma once

#include "exit_status.h"
#include "styles.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vorin::stylize {

// The bytes of the entries are XORed with this.
constexpr std::uint8_t kEntryMask = 0x3C;

struct PackageEntry {
  std::string name;
  std::uint64_t size_bytes = 0;
  std::uint64_t offset_bytes = 0;
};

class ModelPackage {
public:
  // named: the folder that the user named. Without one: the program's folder, its folder "models", and "models" beside it (as in
  // a build), the first that holds a package. Fails where there is no package that the library can use.
  explicit ModelPackage(const std::optional<std::filesystem::path>& named);

  const std::filesystem::path& folder() const { return folder_; }
  const std::filesystem::path& file() const { return file_; }
  const std::vector<PackageEntry>& entries() const { return entries_; }

  // The content of one of the entries, all of it in memory. A Failure where the file cannot be read.
  std::string read(const PackageEntry& entry) const;

  // The folder to name to the library, which takes no package from a folder that cannot be written to: the package's own, or one
  // of the user's with a link to the package. In the system's narrow text, as the library takes it.
  const std::string& libraryFolder() const { return library_folder_; }

  // A Failure where a file of the network is absent. Which of the twins the library asks for depends on the device, and this is
  // to show before there is one: a package has to hold both (the float one under both names will do).
  void requireNetwork(const Style& style, const Network& network) const;

  // What to tell when the library does not load a network of this package, or when the network does not work.
  Failure failedToLoad(const Style& style) const;
  Failure failedToRun(const Style& style) const;

private:
  std::string checkAdvice() const;

  std::filesystem::path folder_;
  std::string library_folder_;
  std::filesystem::path file_;
  std::vector<PackageEntry> entries_;
};

} // namespace vorin::stylize
