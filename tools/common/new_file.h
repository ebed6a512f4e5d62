// new_file.h: makes a file that was not there before.
#pragma once

#include <cstdio>
#include <filesystem>

namespace vorin::tools {

// Opens the new file for writing, with the permissions that any new file of this user gets. Null, with errno set, when it exists
// or cannot be made.
std::FILE* makeNewFile(const std::filesystem::path& file);

} // namespace vorin::tools
