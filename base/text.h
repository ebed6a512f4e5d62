// text.h: text and file names in UTF-8 on every system, and how messages show them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::base {

std::filesystem::path pathFromUtf8(std::string_view text);

// The path as it was written, separators included. If the system's names are bytes, it is these bytes.
std::string utf8Text(const std::filesystem::path& path);

// The extension in lower case, such as ".jpg". Letters beyond ASCII stay unchanged.
std::string lowerCaseExtension(const std::filesystem::path& file);

// Whether the path leads to a folder. False if the system does not let the program find out.
bool isFolder(const std::filesystem::path& path);

bool isControl(char character);

// The name in quotes on one line: control characters appear as \x1B, since a name may hold any bytes.
std::string quoted(const std::string& name);
std::string quotedPath(const std::filesystem::path& file);

std::string joined(const std::vector<std::string>& parts, std::string_view separator = ", ");

// Writes two lower-case digits for each byte.
std::string hexadecimalText(std::span<const std::uint8_t> bytes);

// Returns the text with a blank in place of each line break and tab, and other control characters as \x1B: texts of others could
// change the terminal.
std::string oneLine(std::string text);

} // namespace vorin::base
