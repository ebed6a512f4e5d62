// package_writer.h: writes files into a model package, whose format src/modelpack/model_package_reader.h describes.
//
// The directory comes first, then the files one after the other, streamed. A file that is packed under several names lies in the
// package once, and their records share it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorin::pack {

struct PackedFile {
  std::string entry_name;
  std::filesystem::path file;
};

// Throws an Error for a name or a file that the format or the library cannot hold; then no package is written.
void writePackage(const std::vector<PackedFile>& files, const std::filesystem::path& package, bool overwrite);

// Why the name of an entry cannot be a file's name in a folder: empty, a separator of any system, a step up, a control character,
// or a name that this system reserves. Empty if it can.
std::string unusableAsFileName(const std::string& name);

} // namespace vorin::pack
