// Everything that differs between the systems, in the library's own terms. Each concern has one file for each system, in windows/
// and posix/; code above this folder does not depend on the system. Narrow text is the system's: UTF-8 on POSIX, the
// ANSI code page on Windows. Nothing here throws but std::bad_alloc, and failures are values.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace vorin::platform {

// The separator that the system puts between folder names.
extern const char kPathSeparator;

// ---- log switch (registry; environment on POSIX) ----

// The machine's setting "DumpSTLog", or nothing if it is missing or cannot be read.
std::optional<std::uint32_t> readLogSwitch();

// ---- log output ----

// Passes a line to the process's debugger.
void writeDebuggerOutput(const char* line);

// Opens a text file for writing, emptying it; null on failure, on POSIX also if the path is a symbolic link.
std::FILE* openTextForWriting(const std::string& path);

// Formats into a buffer of `size` bytes. A text that does not fit is the caller's fault: the system's bounds-checked formatter
// reports it where there is one, and elsewhere the text is cut. Returns false if the buffer holds no usable text.
bool formatBounded(char* buffer, std::size_t size, const char* format, std::va_list arguments);

// Copies a text with its NUL into a buffer of `size` bytes. A text that does not fit is the caller's fault: the system's
// bounds-checked copy reports it where there is one, and elsewhere the buffer becomes an empty text. `text` is read up to its NUL
// or `size` bytes.
void copyBounded(char* buffer, std::size_t size, const char* text);

// ---- time ----

// A monotonic counter and its constant rate in ticks per second.
std::int64_t performanceCounter();
std::int64_t performanceFrequency();

// ---- folders ----

// The per-user folder for local application data, created if missing, without a trailing separator; nothing if there is none.
std::optional<std::string> localAppDataFolder();

// The folder of the running program's file, without a trailing separator; nothing if the system does not report it. A path that
// the system cuts (Windows, at 260 characters) is used as cut.
std::optional<std::string> executableFolder();

// Whether the path names a folder. The path may end in a separator.
bool isFolder(const std::string& path);

// Makes one folder; false if it cannot be made, also because it exists.
bool makeFolder(const std::string& path);

// Whether files in this folder can be trusted to be this user's. A missing folder is made. On POSIX false for a link and for a
// folder that belongs to somebody else or that everybody may write to.
bool isOwnFolder(const std::string& path);

// Whether anything has this path.
bool exists(const std::string& path);

// The folder of last resort for files. A file "in" it is named by appending the file's name without a separator.
extern const char* const kLastResortFolder;

// Proves that a file can be made under this path and deleted again; an existing one is replaced, on POSIX as by createBinary.
// Leaves nothing behind if both work.
bool canCreateAndDelete(const std::string& path);

// Makes a file for binary writing; null on failure. On POSIX whatever has this path is removed and a new file is created:
// an existing file is not emptied, since another program may still read it or have it mapped into memory, and no link, pipe
// or file that somebody else put there is written to. Only this user may read it there. Windows empties an existing file.
std::FILE* createBinary(const std::string& path);

// ---- folders for the library's own files ----
// Implemented in folders.cpp of each system. embedded/folders.cpp is another implementation, for the copy of the library that
// works inside other packages: there the program may be an interpreter, whose folder is not to be written to.

// The folder beside which the library's files may lie: executableFolder. Embedded: the one that setFolderForFiles named last.
std::optional<std::string> programFolderForFiles();

// localAppDataFolder. Embedded: nothing.
std::optional<std::string> appDataFolderForFiles();

// The folder for temporary files, ending in a separator; nothing if the system does not report it, as on Windows for a path of
// 260 characters or more. Embedded: nothing.
std::optional<std::string> temporaryFolder();

// Embedded only. Thread-safety: not while an object of the library is at work.
void setFolderForFiles(const std::string& folder);

// ---- files named by wide text ----

// Narrow text to wide and back; empty for an empty text and for one that cannot be converted.
std::wstring toWide(const std::string& narrow);
std::string toNarrow(const std::wstring& wide);

// Converts narrow text to UTF-8, the inference runtime's encoding of names on every system. POSIX returns the text unchanged.
std::string toUtf8(const std::string& narrow);

// Whether the process may write to this path.
bool isWritable(const std::wstring& path);

// Opens a file for binary reading; null on failure.
std::FILE* openBinaryForReading(const std::wstring& path);

// ---- display adapters ----

struct DisplayAdapter {
  std::uint32_t vendor_id = 0; // PCI
  std::uint32_t device_id = 0; // PCI
  std::uint64_t dedicated_memory_bytes = 0;
};

// The machine's display adapters in the system's order; empty when they cannot be listed.
std::vector<DisplayAdapter> listDisplayAdapters();

} // namespace vorin::platform
