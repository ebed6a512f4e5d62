// batch.h: many photos into a folder, which gets their tree of folders. One that fails does not stop the others.
//
// Each drawing takes its name once it is complete, so a name that is there stands for a drawing that is done: that is all that a
// resumed run has to look at.
#pragma once

#include "arguments.h"
#include "exit_status.h"

namespace vorin::stylize {

ExitStatus stylizeMany(const Arguments& arguments);

} // namespace vorin::stylize
