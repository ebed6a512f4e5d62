// A folder that the process can really write to, proven by a probe file where possible. Model files are unpacked there, and the
// compiled networks are cached in a folder of it.
//
// Tried in this order: the program's own folder; "Merix/VORIN" below the per-user application data, made when missing; the
// temporary folder; and where the system names no temporary folder, a folder of last resort, unproven. A temporary folder that is
// named but cannot be written to is deliberately tried again without end: the call returns when that folder can be used.
#pragma once

#include <string>

namespace vorin {

// The folder, without a trailing separator except for the temporary folder, which has one. Looked for afresh by every call; no
// probe file is left behind. Logs the result. Thread-safety: two calls at once, in one or in two processes, may make each other's
// probe fail and so move on to the next folder.
std::string getWritableFolder();

} // namespace vorin
