// cancellation.h: lets Ctrl-C and its like end a program with the status for "cancelled", without a half-written file.
//
// The first signal (SIGINT, SIGTERM, SIGHUP; on Windows any console event) only sets a flag. The work polls it between two
// steps and ends by an exception, which cleans up as any other does. The second signal ends the process at once.
#pragma once

#include <atomic>
#include <string_view>

namespace vorin::base {

// Deliberately no std::exception: a handler of failures lets it pass.
class Cancelled {};

// Call once, at the start of main. A signal that the parent process chose to ignore stays ignored. program: its name, for its
// last line.
void handleCancellation(std::string_view program);

// True from the first signal on.
const std::atomic<bool>& cancellationIsDue();

// Throws Cancelled after the first signal.
void throwIfCancelled();

// Whether a line on standard error waits for its line break, which the second signal then writes first.
void cancellationEndsALine(bool waits);

// ---- for the systems' handlers, which may run in any thread at any moment and touch only atomics ----

// Notes a signal; the second call ends the process.
void takeCancellation();

// Ends the process at once: writes "PROGRAM: cancelled", deletes the unfinished file, exits with status 130.
void cancelNow();

// The parts of handleCancellation and cancelNow that differ between the systems.
void installCancellationHandlers();
void endCancelledProcess(std::string_view last_line);

} // namespace vorin::base
