// sheet_command.h: one picture with drawings beside their photos: each photo in all styles, or in each look of a folder of style
// images.
#pragma once

#include "arguments.h"
#include "exit_status.h"

namespace vorin::stylize {

ExitStatus makeSheet(const Arguments& arguments);

} // namespace vorin::stylize
