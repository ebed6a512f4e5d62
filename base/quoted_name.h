// quoted_name.h: names of files and the like in messages, which are bytes of anyone's making.
#pragma once

#include <filesystem>
#include <string>

namespace vorin::base {

bool isControl(char character);

// The name in quotes on one line: control characters as \x1B.
std::string quoted(const std::string& name);

// The same for the name of a file.
std::string quotedPath(const std::filesystem::path& file);

} // namespace vorin::base
