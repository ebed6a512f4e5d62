// cancellation_state.h: what the systems' handlers of Ctrl-C share: what has come, and what waits. A handler may run in any
// thread at any moment, also as a signal's, so it touches only atomics.
#pragma once

#include <atomic>
#include <string_view>

namespace vorin::stylize {

enum class CancellationStage { kMayCome, kWaits, kCancels };

struct CancellationState {
  std::atomic<CancellationStage> stage = CancellationStage::kMayCome;
  std::atomic<bool> line_waits_for_its_end = false;
  std::atomic<bool> is_due = false; // a signal or an event has come
};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<CancellationStage>::is_always_lock_free,
              "a signal handler reads them");

extern CancellationState cancellation_state;

// For a handler: notes that cancellation has come, and carries it out unless it waits.
void takeCancellation();

// What the program says last.
std::string_view cancellationLine();

// Of each system: says the line, removes the unfinished file and ends the process.
void cancelNow();

} // namespace vorin::stylize
