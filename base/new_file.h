// new_file.h: making a file that was not there before, and removing it at any moment.
#pragma once

#include <cstdio>
#include <filesystem>

namespace vorin::base {

// Opens the new file for writing, with the permissions that any new file of this user gets. Null, with errno set, when it exists
// or cannot be made.
std::FILE* makeNewFile(const std::filesystem::path& file);

// Calls only what a signal handler may call. On Windows the file may be open, by makeNewFile: it goes when it is closed.
void removeFile(const std::filesystem::path::value_type* file);

} // namespace vorin::base
