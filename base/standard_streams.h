// standard_streams.h: standard input, output and error carry bytes as they are on every system, and a console shows them as
// UTF-8.
#pragma once

namespace vorin::base {

// Call once, at the start of main.
void prepareStandardStreams();

} // namespace vorin::base
