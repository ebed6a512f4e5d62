// commands.h: what each command of vorin-pack does. Each throws a Failure where it cannot.
#pragma once

#include "arguments.h"
#include "failure.h"

#include <string>

namespace vorin::pack {

ExitStatus runCommand(const Arguments& arguments);

// A line for the user, to standard error.
void printLine(const std::string& line);

} // namespace vorin::pack
