// files.h: what the programs ask the system about files and folders.
#pragma once

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

namespace vorin::base {

// Opens a new file for writing, with the permissions that any new file of this user gets. Null, with errno set, when the file
// exists or cannot be made.
std::FILE* makeNewFile(const std::filesystem::path& file);

// Calls only what a signal handler may call. On Windows a file that makeNewFile opened is deleted once it is closed.
void removeFile(const std::filesystem::path::value_type* file);

// Whether the system has no file of that UTF-8 name, which is not empty: on Windows that of a device, or one that it takes for
// another.
bool isReservedFileName(const std::string& name);

// The folder of the program's file, links resolved. Empty where the system does not tell.
std::filesystem::path programFolder();

bool isWritable(const std::filesystem::path& folder);

// The user's folder for caches: $XDG_CACHE_HOME, else ~/.cache; on Windows the local application data. It need not exist. Nothing
// where the user has none.
std::optional<std::filesystem::path> userCacheFolder();

// A folder in the user's cache that holds a link to the file under the file's own name. It stays for the next time. Nothing where
// there can be none; on Windows always, as few users have the right to make links.
std::optional<std::filesystem::path> folderOfLinkTo(const std::filesystem::path& file);

// The path as the library takes paths: narrow text of the system. Nothing where the system's code page lacks a character of it.
std::optional<std::string> narrowText(const std::filesystem::path& path);

// Holds an exclusive lock on the file, which is made when it is missing and stays. The constructor waits until no other FileLock,
// of any process, has it. Where the file cannot be opened there is no lock, and the program goes on.
class FileLock {
public:
  explicit FileLock(const std::filesystem::path& file);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

private:
  int descriptor_; // -1: there is no lock
};

} // namespace vorin::base
