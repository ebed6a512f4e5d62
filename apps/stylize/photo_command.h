// photo_command.h: draws one photo into a file, or many into a folder.
#pragma once

#include "arguments.h"
#include "exit_status.h"

namespace vorin::stylize {

ExitStatus stylizePhotos(const Arguments& arguments);

} // namespace vorin::stylize
