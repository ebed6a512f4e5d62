// Entries of the model package as files on disk, for the short time in which the inference runtime reads them.
#pragma once

#include <string>
#include <vector>

namespace vorin::modelpack {

// Paths of the files written for one network, in the order in which they were written.
using UnpackedFiles = std::vector<std::string>;

// Writes an entry into the writable folder under its base name (what follows the last separator of the entry's name, so no entry
// leads out of the folder), records the path in `unpackedFiles` and returns it. Where that fails, also because there is no such
// entry, it is tried once more with the folder of last resort, which is made first; that folder's name and the base name are
// deliberately joined without a separator. Returns an empty text after the second failure ("unpack file failed." in the log) or
// when the folder cannot be made ("create model file dir failed.").
std::string UnpackModelFile(UnpackedFiles& unpackedFiles, const std::wstring& package_path, const std::string& entry_name);

// Deletes the recorded files, logs each, and empties the list, whatever the outcome.
void DeleteUnpackedFiles(UnpackedFiles& unpackedFiles);

} // namespace vorin::modelpack
