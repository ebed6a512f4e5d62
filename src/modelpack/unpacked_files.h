// Writes entries of the model package to disk for the short time in which the inference runtime reads them.
#pragma once

#include <string>
#include <vector>

namespace vorin::modelpack {

// Paths of the files written for one network, in the order in which they were written.
using UnpackedFiles = std::vector<std::string>;

// Writes an entry into the writable folder, records the path in `unpackedFiles` and returns it. The file is named by the entry's
// name from the system's last separator in it on, that separator included, or by the whole name if it has none. If that
// fails, also because there is no such entry, it is tried once more with the folder of last resort, which is made if missing.
// That folder's path and the file's name are deliberately joined as they are: a name without a separator ends up beside the
// folder, in a file whose name begins with the folder's. Returns an empty text after the second failure ("unpack file failed." in
// the log) or when the folder cannot be made ("create model file dir failed."). Callers pass only the names of the
// catalogue's networks, which hold no separator of any system.
std::string UnpackModelFile(UnpackedFiles& unpackedFiles, const std::wstring& package_path, const std::string& entry_name);

// Deletes the recorded files, logs each, and empties the list, whatever the outcome.
void DeleteUnpackedFiles(UnpackedFiles& unpackedFiles);

} // namespace vorin::modelpack
