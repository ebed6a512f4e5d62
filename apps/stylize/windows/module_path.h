// module_path.h: the files of the running program and its libraries.
#pragma once

#include <filesystem>

namespace vorin::stylize {

// Of a library that the process has loaded, by its file name; null for the program. Empty where there is none.
std::filesystem::path modulePath(const wchar_t* name);

} // namespace vorin::stylize
