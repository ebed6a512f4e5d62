// Writes the outputs of a job from its units.
#include "jobs/job_units.h"
#include "output_file.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <fstream>
#include <system_error>
#include <utility>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;
using namespace jobs;

void copyFile(const fs::path& from, const fs::path& to, bool overwrite) {
  base::TemporaryOutput output(to, overwrite);
  std::error_code error;
  fs::copy_file(from, output.path(), error);
  if (error) {
    throw Error(ErrorKind::kInputOutput,
                base::quotedPath(to) + " cannot be written (" + error.message() + "): make room or choose another folder");
  }
  output.commit();
}

class Joiner {
public:
  Joiner(Plan plan, const JobHooks& hooks) : plan_(std::move(plan)), store_(plan_), hooks_(hooks) {}

  JobJoin join() {
    if (!allUnitsAreWhole()) {
      return std::move(joined_);
    }
    for (std::size_t input = 0; input < plan_.inputs.size() && !joined_.cancelled; ++input) {
      const PlannedInput& planned = plan_.inputs[input];
      if (!planned.failure.empty()) {
        joined_.failures.push_back(planned.failure);
      }
      if (planned.failure.empty() && planned.input.is_clip) {
        write(input, [&] { return joinParts(input); });
      }
    }
    for (std::size_t unit = 0; unit < plan_.units.size() && !joined_.cancelled; ++unit) {
      if (!plan_.inputs[plan_.units[unit].inputs.front()].input.is_clip) {
        copyImages(unit);
      }
    }
    return std::move(joined_);
  }

private:
  bool isCancelled() const { return hooks_.cancelled != nullptr && *hooks_.cancelled; }

  // Reads all files of all units. Those that are not what they should be are open again.
  bool allUnitsAreWhole() {
    std::size_t missing = 0;
    for (const PlannedUnit& unit : plan_.units) {
      if (isCancelled()) {
        joined_.cancelled = true;
        return false;
      }
      std::error_code error;
      const bool claims_done = fs::exists(store_.folder() / (unit.id + ".ok"), error);
      std::optional<UnitResult> result = store_.result(unit, true);
      if (!result && claims_done) {
        store_.discard(unit);
        joined_.damaged_units.push_back(unit.id);
      }
      missing += !result && !claims_done ? 1 : 0;
      results_.push_back(result.value_or(UnitResult()));
    }
    if (missing > 0 && joined_.damaged_units.empty()) {
      throw Error(ErrorKind::kInputOutput, std::to_string(missing) + " of the " + std::to_string(plan_.units.size()) +
                                               " units of " + base::quotedPath(plan_.folder) +
                                               " are not done: do them with vorin-stylize job work, and see job status");
    }
    return missing == 0 && joined_.damaged_units.empty();
  }

  // A mark beside the plan tells that the output is this job's own, when an earlier call was killed.
  template <typename Work> void write(std::size_t input, const Work& work) {
    const JobInput& planned = plan_.inputs[input].input;
    const fs::path mark = plan_.folder / ("joining-" + std::to_string(input));
    std::error_code error;
    if (fs::exists(mark, error) && fs::exists(planned.output, error)) {
      joined_.outputs.push_back(planned.output);
      return;
    }
    fs::create_directories(planned.output.parent_path(), error);
    base::requireWritable(planned.output, plan_.recipe.sink.overwrite);
    if (!plan_.recipe.sink.overwrite) {
      std::ofstream{mark};
    }
    if (work()) {
      joined_.outputs.push_back(planned.output);
    } else {
      joined_.cancelled = true;
    }
  }

  bool joinParts(std::size_t input) {
    PlannedInput& planned = plan_.inputs[input];
    requireUnchanged(planned, true);
    std::vector<UnitFile> files;
    for (std::size_t unit = 0; unit < plan_.units.size(); ++unit) {
      if (plan_.units[unit].inputs.front() == input) {
        const ClipPart& part = plan_.units[unit].part;
        files.push_back({store_.folder() / store_.nameOf(plan_.units[unit]), part.first_time, part.frames,
                         results_[unit].last_duration, results_[unit].delay});
      }
    }
    const std::unique_ptr<Source> packets = openClipPackets(planned.input.file, sourceOptions(plan_.recipe, true));
    const std::optional<ClipSurvey> told = joinClip(planned.input.output, *packets, infoForSink(plan_.recipe, packets->info()),
                                                    resultSize(plan_.recipe, packets->info()), plan_.recipe.sink, files, [this] {
                                                      if (hooks_.on_frame) {
                                                        hooks_.on_frame(++frames_);
                                                      }
                                                      return !isCancelled();
                                                    });
    if (!told) {
      return false;
    }
    for (const auto* lines : {&std::as_const(planned.told), &std::as_const(told->damage), &std::as_const(told->warnings)}) {
      joined_.warnings.insert(joined_.warnings.end(), lines->begin(), lines->end());
    }
    joined_.is_damaged = joined_.is_damaged || planned.is_damaged || !told->damage.empty();
    return true;
  }

  void copyImages(std::size_t unit) {
    const PlannedUnit& planned = plan_.units[unit];
    std::size_t file = 0;
    for (std::size_t place = 0; place < planned.inputs.size() && !isCancelled(); ++place) {
      const std::string name = store_.nameOf(planned, place);
      if (file == results_[unit].files.size() || results_[unit].files[file].name != name) {
        continue; // it failed
      }
      ++file;
      write(planned.inputs[place], [&] {
        copyFile(store_.folder() / name, plan_.inputs[planned.inputs[place]].input.output, plan_.recipe.sink.overwrite);
        return true;
      });
      if (hooks_.on_frame) {
        hooks_.on_frame(++frames_);
      }
    }
    joined_.cancelled = joined_.cancelled || isCancelled();
    for (const UnitResult::Failure& failure : results_[unit].failures) {
      joined_.failures.push_back(failure.error);
    }
  }

  Plan plan_;
  UnitStore store_;
  const JobHooks& hooks_;
  std::vector<UnitResult> results_; // of the plan's units, in their order
  JobJoin joined_;
  std::int64_t frames_ = 0;
};

} // namespace

JobJoin joinJob(const fs::path& job, const JobHooks& hooks) {
  return Joiner(readPlan(job), hooks).join();
}

} // namespace vorin::media
