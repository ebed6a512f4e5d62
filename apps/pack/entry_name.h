// entry_name.h: names of package entries, which are bytes of anyone's making: what of them is safe to show and to use as a file
// name.
#pragma once

#include "quoted_name.h"

#include <string>

namespace vorin::pack {

using base::quoted;
using base::quotedPath;

// The name as a JSON string, quotes included. A name that is not UTF-8 is read as Latin-1.
std::string jsonText(const std::string& name);

// Why the name cannot be a file's name in a folder: empty, a separator of any system, a step up, a control character, or what
// this system keeps for itself. Empty if it can.
std::string unusableAsFileName(const std::string& name);

// Whether this system has no files of that name: a device's, or one that it takes for another.
bool isReservedFileName(const std::string& name);

} // namespace vorin::pack
