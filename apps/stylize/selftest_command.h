// selftest_command.h: draws a built-in picture in all five styles and compares the drawings with what is known of them.
//
// A drawing whose figures are not known still has to have the picture's size and to be another picture.
#pragma once

#include "arguments.h"
#include "exit_status.h"

namespace vorin::stylize {

ExitStatus testItself(const Arguments& arguments);

} // namespace vorin::stylize
