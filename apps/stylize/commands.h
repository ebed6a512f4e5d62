// commands.h: what the program does, one function a command.
#pragma once

#include "arguments.h"
#include "exit_status.h"

#include <string>

namespace vorin::stylize {

// Fails, or restarts on the software device, by an exception (Failure, RestartOnSoftwareDevice).
ExitStatus runCommand(const Arguments& arguments);

// For who wants JSON; the line for the user comes besides.
void printFailure(const Arguments& arguments, const Failure& failure);

// One line on standard error, whatever is in the text.
void printLine(const std::string& text);

} // namespace vorin::stylize
