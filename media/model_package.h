// model_package.h: finds and checks the package of the networks before the style-transfer library opens it.
//
// The style-transfer library reports only that a network cannot be prepared, not why, and it never returns from an entry that
// runs past the end of the file. So the directory is read here first, and its faults are reported as errors.
#pragma once

#include "modelpack/network_names.h"
#include "modelpack/package_directory.h"
#include "vorin_media.hpp"

#include <string_view>

namespace vorin::media {

// The networks of a neural style, its default first; none for a filter.
std::span<const modelpack::NamedNetwork> networksOf(Style style);

inline bool isNeural(Style style) {
  return !networksOf(style).empty();
}

// "pencil", "stipple", "lightgrey", "cartoon", "transfer".
std::string_view nameOf(Style style);

// The network of that name, the style's default for an empty name. Throws kUsage for a name that the style does not have.
const modelpack::NamedNetwork& networkOf(Style style, const std::string& name);

class ModelPackage {
public:
  // named: the folder of the package; empty: the program's folder, its folder models, ../models and ../share/vorin-stt/models
  // seen from it, the first that holds a package. Throws kModel if there is no package that the style-transfer library can
  // use.
  explicit ModelPackage(const std::filesystem::path& named);

  const std::filesystem::path& folder() const { return folder_; }
  const std::filesystem::path& file() const { return file_; }
  const modelpack::PackageDirectory& directory() const { return directory_; }

  // The folder to pass to the style-transfer library, which refuses one without write permission: the package's own, or a user's
  // folder with a link to the package. Encoded in the system's narrow text.
  const std::string& libraryFolder() const { return library_folder_; }

  // Throws kModel if the package lacks a file of the network. The device, which is not chosen yet, decides which twin is loaded,
  // so the package must hold both (the float file under both names will do).
  void requireNetwork(Style style, const modelpack::NamedNetwork& network) const;

  // What the files of the network take, those of its twin included.
  std::uint64_t bytesOf(const modelpack::NamedNetwork& network) const;

  // The SHA-256 sum of an entry's content, in hexadecimal digits.
  std::string sha256Of(const modelpack::PackageEntry& entry) const;

  // The errors for a network of this package that the library does not load, and for one whose results are blank.
  Error failedToLoad(Style style) const;
  Error failedToRun(Style style) const;

private:
  std::filesystem::path folder_;
  std::string library_folder_;
  std::filesystem::path file_;
  modelpack::PackageDirectory directory_;
};

} // namespace vorin::media
