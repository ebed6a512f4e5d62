// Tells where a job stands.
#include "jobs/job_units.h"

#include <algorithm>
#include <utility>

namespace vorin::media {

namespace fs = std::filesystem;
using namespace jobs;
using UnitState = JobState::UnitState;

JobState::Unit jobs::stateOfUnit(const Plan& plan, const UnitStore& store, const UnitNames& names, const PlannedUnit& planned,
                                 std::vector<std::string>* failures) {
  JobState::Unit unit;
  unit.id = planned.id;
  unit.input = plan.inputs[planned.inputs.front()].input.file;
  unit.frames = planned.frames(plan.inputs);
  if (const auto result = names.haveResult(planned) ? store.result(planned) : std::nullopt) {
    unit.state = UnitState::kDone;
    unit.seconds = result->seconds;
    for (const UnitResult::Failure& failure : failures != nullptr ? result->failures : std::vector<UnitResult::Failure>()) {
      failures->push_back(failure.error);
    }
  } else if (const std::optional<std::string> worker = names.worker(planned)) {
    unit.state = UnitState::kRunning;
    unit.note = *worker;
  } else if (names.haveFailure(planned)) {
    UnitFailure failure = store.failure(planned);
    unit.state = UnitState::kFailed;
    unit.failed_tries = failure.tries;
    unit.note = std::move(failure.error);
  }
  return unit;
}

JobState jobs::stateOfPlan(const Plan& plan) {
  const UnitStore store(plan);
  const UnitNames names(store.folder());
  JobState state;
  for (const PlannedUnit& planned : plan.units) {
    state.units.push_back(stateOfUnit(plan, store, names, planned, &state.failures));
    const JobState::Unit& unit = state.units.back();
    state.frames += unit.frames;
    state.frames_done += unit.state == UnitState::kDone ? unit.frames : 0;
  }
  for (const PlannedInput& input : plan.inputs) {
    if (!input.failure.empty()) {
      state.failures.push_back(input.failure);
    }
  }
  return state;
}

std::size_t JobState::count(UnitState state) const {
  return static_cast<std::size_t>(
      std::count_if(units.begin(), units.end(), [&](const Unit& unit) { return unit.state == state; }));
}

JobState jobState(const fs::path& job) {
  return stateOfPlan(readPlan(job));
}

void forgetFailures(const fs::path& job) {
  UnitNames(job / "units").forgetFailures();
}

} // namespace vorin::media
