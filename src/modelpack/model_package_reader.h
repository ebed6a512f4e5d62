// Reads one entry out of the packed model file "model_st.bin".
//
// The file, all integers little-endian: a directory from offset 0, without header, count or magic, of records
//     name    bytes up to and including a terminating zero; compared byte for byte; at most 1023 bytes before the zero
//     size    32-bit unsigned, the entry's length in bytes, at most 0x40000000
//     offset  32-bit signed, the entry's position from the start of the file
// which ends with a record of an empty name, whose size and offset are present as in any other. The entries' bytes lie anywhere
// in the file, each XORed with 0x3C. The first record of a name counts.
//
// Every file ends the reader with a status but for one, deliberately: an entry that runs past the end of the file makes it wait
// for the missing bytes without end, as if they were still being written. A package must be complete.
#pragma once

#include <string>

namespace vorin::modelpack {

enum class PackageStatus { kWritten = 0, kNoSuchEntry = 1, kError = -1 };

// Writes the entry's bytes to the file `target_path`, made or emptied first. An empty entry name matches the directory's last
// record. kError: the package or the target cannot be opened, the directory ends early, a record up to the wanted one gives a
// size above the limit ("the file size is too big" in the log), the entry's offset cannot be sought ("unpack file error"), or
// reading or writing fails; a target that was begun is removed then.
PackageStatus ModelPackageReader(const std::wstring& package_path, const std::string& entry_name, const std::string& target_path);

} // namespace vorin::modelpack
