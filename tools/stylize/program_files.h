// program_files.h: where the program lies, and what it may do with a folder.
#pragma once

#include <filesystem>

namespace vorin::stylize {

// The folder of the program's file, links resolved. Empty where the system does not tell.
std::filesystem::path programFolder();

bool isWritable(const std::filesystem::path& folder);

} // namespace vorin::stylize
