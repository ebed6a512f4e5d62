// A folder that the process can really write to, proven by a probe file where possible. Model files are unpacked there, and the
// compiled networks are cached in a folder of it.
//
// Tries in this order: the program's own folder; "Merix/VORIN" below the per-user application data, made if missing; the
// temporary folder; and where the system names no temporary folder, a folder of last resort, unproven. A temporary folder that is
// named but cannot be written to is deliberately tried again without end: the call returns when that folder is usable.
#pragma once

#include <string>

namespace vorin {

// Returns the folder, without a trailing separator except for the temporary folder, which has one. Every call searches again and
// leaves no probe file behind. Logs the result. Thread-safety: two calls at once, in one or in two processes, may make each
// other's probe fail and so move on to the next folder.
std::string getWritableFolder();

} // namespace vorin
