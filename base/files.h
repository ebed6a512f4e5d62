// files.h: the operations on files and folders that differ between the systems, and the sums of files.
#pragma once

#include "text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace vorin::base {

// Opens a new file for writing, with the permissions that any new file of this user gets. Returns null and sets errno if the
// file exists or cannot be made.
std::FILE* makeNewFile(const std::filesystem::path& file);

// Waits until what was written to the file has reached the disk. Returns false and sets errno if it cannot.
bool makeDurable(std::FILE* file);

// Deletes the file of a process that is about to end, with calls that are safe in a signal handler, though a library is writing
// it. On Windows a file that makeNewFile opened is deleted once it is closed.
void removeFile(const std::filesystem::path::value_type* file);

// As std::filesystem's rename and remove_all. On Windows they wait up to a second for others that have such a file open, since it
// can be neither renamed nor deleted then: processes that share a job, and virus scanners.
void renameFile(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error);
void removeAll(const std::filesystem::path& path, std::error_code& error);

// Whether the system cannot have a file of that UTF-8 name, which must not be empty: on Windows the name of a device, or a name
// that Windows refuses or changes.
bool isReservedFileName(const std::string& name);

// The folder of the program's file, with links resolved. Empty if the system does not report it.
std::filesystem::path programFolder();

bool isWritable(const std::filesystem::path& folder);

// Whether standard input is read from this file, as by "< file".
bool isStandardInput(const std::filesystem::path& file);

// When the file was read or written last. On Windows, which seldom notes reading, and where the system notes none: written.
std::filesystem::file_time_type lastUse(const std::filesystem::path& file);

// Notes that the folder was written to just now. A failure has no consequence.
void touchFolder(const std::filesystem::path& folder);

// The user's folder for caches: $XDG_CACHE_HOME, else ~/.cache; on Windows the local application data. It need not exist.
// Nothing if the user has none.
std::optional<std::filesystem::path> userCacheFolder();

// Returns a folder in the user's cache that holds a link to the file, under the file's own name; it stays there for later runs.
// Nothing if the link cannot be made; always nothing on Windows, where few users may make links.
std::optional<std::filesystem::path> folderOfLinkTo(const std::filesystem::path& file);

// The path in the system's narrow text, the encoding that the library expects. Nothing if the system's code page lacks one of its
// characters.
std::optional<std::string> narrowText(const std::filesystem::path& path);

// Holds an exclusive lock on the file, which is made if it is missing and is never removed. The constructor waits until no other
// FileLock, of any process, holds the lock; or it does not wait. If the file cannot be opened, nothing is locked and the program
// continues. The system ends the lock of a process that ends.
class FileLock {
public:
  explicit FileLock(const std::filesystem::path& file, bool waits = true);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool isTaken() const { return is_taken_; } // another FileLock holds the lock, and this one did not wait

  // Removes the file of the lock, which ends with it: Windows removes no file that is open.
  void removeFile(const std::filesystem::path& file);

private:
  void end();

  int descriptor_; // -1: nothing is locked
  bool is_taken_ = false;
};

// The memory that the process can still get, in bytes; nothing if the system does not say.
std::optional<std::uint64_t> availableMemory();

// ---- SHA-256 sums, by OpenSSL's libcrypto or on Windows BCrypt ----

class Sha256 {
public:
  Sha256(); // throws an Error if the system's library fails, as the other functions do
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void add(std::span<const std::uint8_t> bytes);
  std::string hexadecimal(); // once, at the end: 64 lower-case digits

private:
  struct State;
  std::unique_ptr<State> state_;
};

// The sum of a part of a file, each byte of which is XORed with the mask first. Throws Error(kInputOutput) if the part cannot be
// read. goes_on is called with the number of bytes that are read; the sum is empty once it returns false.
inline std::string sha256OfFile(const std::filesystem::path& file, std::uint64_t offset_bytes, std::uint64_t size_bytes,
                                std::uint8_t mask = 0, const std::function<bool(std::uint64_t bytes)>& goes_on = {}) {
  constexpr std::uint64_t kPartBytes = std::uint64_t{1} << 20;
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(offset_bytes));
  std::vector<std::uint8_t> part(static_cast<std::size_t>(std::min(kPartBytes, size_bytes)));
  Sha256 sum;
  for (std::uint64_t done_bytes = 0; size_bytes > 0;) {
    part.resize(static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), size_bytes)));
    if (!stream.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(part.size()))) {
      throw Error(ErrorKind::kInputOutput, quotedPath(file) + " cannot be read: check its permissions");
    }
    std::for_each(part.begin(), part.end(), [&](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(byte ^ mask); });
    sum.add(part);
    size_bytes -= part.size();
    done_bytes += part.size();
    if (goes_on && !goes_on(done_bytes)) {
      return "";
    }
  }
  return sum.hexadecimal();
}

} // namespace vorin::base
