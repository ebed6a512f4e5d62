// Tells where a job stands.
#include "jobs/job_units.h"

#include <algorithm>
#include <utility>

namespace vorin::media {

using namespace jobs;
using UnitState = JobState::UnitState;

JobState::Unit jobs::stateOfUnit(const Plan& plan, const UnitStore& store, const PlannedUnit& planned) {
  JobState::Unit unit;
  unit.id = planned.id;
  unit.input = plan.inputs[planned.inputs.front()].input.file;
  unit.frames = planned.frames(plan.inputs);
  if (const std::optional<UnitResult> result = store.result(planned)) {
    unit.state = UnitState::kDone;
    unit.seconds = result->seconds;
  } else if (const std::optional<std::string> worker = store.worker(planned)) {
    unit.state = UnitState::kRunning;
    unit.note = *worker;
  } else if (std::string failure = store.failure(planned); !failure.empty()) {
    unit.state = UnitState::kFailed;
    unit.note = std::move(failure);
  }
  return unit;
}

JobState jobs::stateOfPlan(const Plan& plan) {
  const UnitStore store(plan);
  JobState state;
  for (const PlannedUnit& planned : plan.units) {
    state.units.push_back(stateOfUnit(plan, store, planned));
    const JobState::Unit& unit = state.units.back();
    state.frames += unit.frames;
    if (unit.state == UnitState::kDone) {
      state.frames_done += unit.frames;
      for (const UnitResult::Failure& failure : store.result(planned).value_or(UnitResult()).failures) {
        state.failures.push_back(failure.error);
      }
    }
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

JobState jobState(const std::filesystem::path& job) {
  return stateOfPlan(readPlan(job));
}

} // namespace vorin::media
