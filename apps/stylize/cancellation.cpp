#include "cancellation.h"

#include "cancellation_state.h"

#include <chrono>
#include <thread>

namespace vorin::stylize {
namespace {

bool changeStage(CancellationStage from, CancellationStage to) {
  return cancellation_state.stage.compare_exchange_strong(from, to);
}

// Whoever of a handler and the end of the waiting comes second sees what the first has set; exactly one of them cancels.
void cancelUnlessItWaits() {
  if (changeStage(CancellationStage::kMayCome, CancellationStage::kCancels)) {
    cancelNow();
  }
}

// The process ends under it.
void standStillOnceCancelled() {
  while (cancellation_state.stage == CancellationStage::kCancels) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

} // namespace

CancellationState cancellation_state;

void takeCancellation() {
  cancellation_state.is_due = true;
  cancelUnlessItWaits();
}

std::string_view cancellationLine() {
  constexpr std::string_view kLine = "\nvorin-stylize: cancelled\n";
  return kLine.substr(cancellation_state.line_waits_for_its_end ? 0 : 1);
}

CancellationWaits::CancellationWaits() {
  if (!changeStage(CancellationStage::kMayCome, CancellationStage::kWaits)) {
    standStillOnceCancelled();
  }
}

CancellationWaits::~CancellationWaits() {
  changeStage(CancellationStage::kWaits, CancellationStage::kMayCome);
  if (cancellation_state.is_due) {
    cancelUnlessItWaits();
  }
  standStillOnceCancelled();
}

const std::atomic<bool>& cancellationIsDue() {
  return cancellation_state.is_due;
}

void cancellationEndsALine(bool waits) {
  cancellation_state.line_waits_for_its_end = waits;
}

} // namespace vorin::stylize
