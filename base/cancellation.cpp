#include "cancellation.h"

#include <string>

namespace vorin::base {
namespace {

std::string last_line; // not changed once the handlers are installed
std::atomic<bool> is_due = false;
std::atomic<bool> line_waits = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

} // namespace

void handleCancellation(std::string_view program) {
  last_line = std::string(1, '\n').append(program).append(": cancelled\n");
  installCancellationHandlers();
}

const std::atomic<bool>& cancellationIsDue() {
  return is_due;
}

void throwIfCancelled() {
  if (is_due) {
    throw Cancelled();
  }
}

void cancellationEndsALine(bool waits) {
  line_waits = waits;
}

void takeCancellation() {
  if (is_due.exchange(true)) {
    cancelNow();
  }
}

void cancelNow() {
  endCancelledProcess(std::string_view(last_line).substr(line_waits ? 0 : 1));
}

} // namespace vorin::base
