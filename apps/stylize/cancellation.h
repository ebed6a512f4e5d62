// cancellation.h: Ctrl-C and its like end the program with its status for "cancelled" and leave no half-written file behind.
#pragma once

#include <atomic>

namespace vorin::stylize {

// Call once, at the start of main. A signal that the parent process chose to ignore stays ignored.
void handleCancellation();

// Keeps cancellation waiting until the next handleCancellation, which may be another process's.
void holdCancellation();

// While it lives, cancellation waits; its end carries out what came meanwhile. For work of a second or two that a library must
// bring to its own end, or it leaves files behind. One at a time.
class CancellationWaits {
public:
  CancellationWaits();
  ~CancellationWaits();
  CancellationWaits(const CancellationWaits&) = delete;
  CancellationWaits& operator=(const CancellationWaits&) = delete;
};

// Set when cancellation came and waits: for work that brings itself to an end then.
const std::atomic<bool>& cancellationIsDue();

// Whether a line on standard error waits for its end, which cancellation then writes first.
void cancellationEndsALine(bool waits);

} // namespace vorin::stylize
