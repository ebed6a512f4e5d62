#include "cancellation.h"

#include "cancellation_state.h"

namespace vorin::stylize {
namespace {

// Whoever of a handler and the end of the waiting comes second sees what the first has set; exactly one of them cancels.
void cancelIfDue() {
  if (!cancellation_state.waits && cancellation_state.is_due.exchange(false)) {
    cancelNow();
  }
}

} // namespace

CancellationState cancellation_state;

void takeCancellation() {
  cancellation_state.is_due = true;
  cancelIfDue();
}

std::string_view cancellationLine() {
  constexpr std::string_view kLine = "\nvorin-stylize: cancelled\n";
  return kLine.substr(cancellation_state.line_waits_for_its_end ? 0 : 1);
}

CancellationWaits::CancellationWaits() {
  cancellation_state.waits = true;
}

CancellationWaits::~CancellationWaits() {
  cancellation_state.waits = false;
  cancelIfDue();
}

const std::atomic<bool>& cancellationIsDue() {
  return cancellation_state.is_due;
}

void cancellationEndsALine(bool waits) {
  cancellation_state.line_waits_for_its_end = waits;
}

RemovedWhenCancelled::RemovedWhenCancelled(const std::filesystem::path& file) {
  cancellation_state.file_to_remove = file.native();
  cancellation_state.file_to_remove_is_set = true;
}

RemovedWhenCancelled::~RemovedWhenCancelled() {
  cancellation_state.file_to_remove_is_set = false;
}

} // namespace vorin::stylize
