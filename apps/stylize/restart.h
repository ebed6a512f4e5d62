// restart.h: the software device where it takes a process of its own, as on Windows.
#pragma once

#include "exit_status.h"
#include "vorin_media.hpp"

namespace vorin::stylize {

// Runs the program again, with the same arguments, in a process that is a software device, and returns its exit status. reason:
// why that device was taken; the process reports it. Throws kDevice where the software device is not installed or does not start.
base::ExitStatus runOnSoftwareDevice(media::Precision precision, const std::string& reason);

} // namespace vorin::stylize
