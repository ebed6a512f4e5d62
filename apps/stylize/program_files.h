// program_files.h: where the program lies, what it may do with a folder, and whose turn it is.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vorin::stylize {

// The folder of the program's file, links resolved. Empty where the system does not tell.
std::filesystem::path programFolder();

bool isWritable(const std::filesystem::path& folder);

// A folder of the user's own that holds a link to the file under the file's own name; nothing where there can be none. It stays
// for the next time.
std::optional<std::filesystem::path> folderOfLinkTo(const std::filesystem::path& file);

// The path as the library takes paths: narrow text of the system. Nothing where the system's code page lacks a character of it.
std::optional<std::string> narrowText(const std::filesystem::path& path);

// Waits until no other process of this program holds a turn, and holds it while it lives. The library unpacks networks under
// fixed names, so two processes that load at the same time would spoil each other's files.
class Turn {
public:
  Turn();
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

private:
  int program_; // a descriptor; -1: there is no way to wait here, and the program goes on
};

} // namespace vorin::stylize
