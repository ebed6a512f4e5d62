// cancellation.h: Ctrl-C and its like end the program with its status for "cancelled" and leave no temporary file behind.
//
// A signal only sets a mark; the work looks at the mark between two steps and ends by an exception, which cleans up as any other
// does.
#pragma once

namespace vorin::pack {

// Call once, at the start of main. A signal that the parent process chose to ignore stays ignored.
void handleCancellation();

// Throws the Failure "cancelled" after a signal.
void throwIfCancelled();

} // namespace vorin::pack
