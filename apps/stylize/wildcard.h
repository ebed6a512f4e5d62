// wildcard.h: patterns of file names, the same on every system whatever its shell makes of them.
//
// In a name, * stands for any characters, ? for one, [a-z] for one of a range and [!a-z] for one outside it; ** alone, as the
// name of a folder, for folders at any depth, none included. Names that begin with a dot match only patterns that do.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace vorin::stylize {

bool hasWildcard(const std::filesystem::path& pattern);

// name, pattern: UTF-8.
bool matchesWildcard(std::string_view name, std::string_view pattern);

// The part of the pattern before its first wildcard: the folder that the search begins in.
std::filesystem::path folderOfPattern(const std::filesystem::path& pattern);

// What there is of that pattern, in the order of its names. Folders that cannot be read are passed over.
std::vector<std::filesystem::path> expandWildcards(const std::filesystem::path& pattern);

} // namespace vorin::stylize
