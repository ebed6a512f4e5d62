// extraction.h: entries of a package as files in a folder, and nowhere else.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vorin::pack {

// Writes the entries of these names, or all for no names, and returns their number. All that can be known beforehand (a damaged
// entry, a name that is none for a file, a file that exists) is a Failure before anything is written.
std::size_t extractEntries(const std::filesystem::path& package, const std::vector<std::string>& entry_names,
                           const std::filesystem::path& folder, bool overwrite);

} // namespace vorin::pack
