// Writes the outputs of a job from its units.
#include "jobs/job_units.h"
#include "output_file.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;
using namespace jobs;

// Notes what the output is like before it gets its name: by that a later call knows it for the job's own, also if this one is
// killed in between.
class JoinedOutput final : public base::TemporaryOutput {
public:
  JoinedOutput(const fs::path& output, bool overwrite, fs::path note)
      : TemporaryOutput(output, overwrite), note_(std::move(note)) {}

  void commit() override {
    const FileState state = sizeAndTimeOf(path());
    const std::string text = Json({{"bytes", state.bytes}, {"modified_ns", state.modified_ns}}).dump() + "\n";
    base::OutputFile file(note_, true);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.commit();
    TemporaryOutput::commit();
  }

private:
  fs::path note_;
};

class Joiner {
public:
  Joiner(Plan plan, const JobHooks& hooks) : plan_(std::move(plan)), store_(plan_), names_(store_.folder()), hooks_(hooks) {}

  JobJoin join() {
    for (std::size_t input = 0; input < plan_.inputs.size(); ++input) {
      is_joined_.push_back(isJoined(input));
    }
    if (!readUnits()) {
      joined_.cancelled = true;
      return std::move(joined_);
    }
    for (std::size_t input = 0; input < plan_.inputs.size() && !joined_.cancelled; ++input) {
      const PlannedInput& planned = plan_.inputs[input];
      if (!planned.failure.empty()) {
        joined_.failures.push_back(planned.failure);
      } else if (planned.input.is_clip && hasUnits(input)) {
        joined_.warnings.insert(joined_.warnings.end(), planned.told.begin(), planned.told.end());
        joined_.is_damaged = joined_.is_damaged || planned.is_damaged;
        write(input, planned.frames, [&](auto output) { return joinParts(input, std::move(output)); });
      }
    }
    for (std::size_t unit = 0; unit < plan_.units.size() && !joined_.cancelled; ++unit) {
      const std::size_t first = plan_.units[unit].inputs.front();
      if (!plan_.inputs[first].input.is_clip && results_[unit]) {
        copyImages(unit);
      } else if (!plan_.inputs[first].input.is_clip && isNeeded(plan_.units[unit])) {
        noteMissing(first, {&plan_.units[unit]});
      }
    }
    return std::move(joined_);
  }

private:
  bool isCancelled() const { return hooks_.cancelled != nullptr && *hooks_.cancelled; }

  fs::path noteOf(std::size_t input) const { return plan_.folder / ("joined-" + std::to_string(input)); }

  // Whether the output is there as an earlier call wrote it.
  bool isJoined(std::size_t input) const {
    std::ifstream stream(noteOf(input), std::ios::binary);
    const Json note = stream ? Json::parse(stream, nullptr, false) : Json();
    std::error_code error;
    if (!note.is_object() || !fs::exists(plan_.inputs[input].input.output, error)) {
      return false;
    }
    const FileState state = sizeAndTimeOf(plan_.inputs[input].input.output);
    return note == Json({{"bytes", state.bytes}, {"modified_ns", state.modified_ns}});
  }

  bool isNeeded(const PlannedUnit& unit) const {
    return std::any_of(unit.inputs.begin(), unit.inputs.end(), [this](std::size_t input) { return !is_joined_[input]; });
  }

  // Reads the files of all units whose inputs are not joined. Those that are not what they should be are open again. Returns
  // false if it was cancelled.
  bool readUnits() {
    for (const PlannedUnit& unit : plan_.units) {
      const bool is_needed = isNeeded(unit);
      results_.push_back(names_.haveResult(unit) ? store_.result(unit, is_needed ? &hooks_ : nullptr) : std::nullopt);
      if (isCancelled()) {
        return false;
      }
      if (!results_.back() && is_needed && names_.haveResult(unit)) {
        store_.discard(unit);
        joined_.damaged_units.push_back(unit.id);
      }
    }
    names_ = UnitNames(store_.folder());
    return true;
  }

  // Whether a clip's units are all done; lists it if not.
  bool hasUnits(std::size_t input) {
    std::vector<const PlannedUnit*> open;
    for (std::size_t unit = 0; unit < plan_.units.size(); ++unit) {
      if (plan_.units[unit].inputs.front() == input && !results_[unit]) {
        open.push_back(&plan_.units[unit]);
      }
    }
    if (!open.empty() && !is_joined_[input]) {
      noteMissing(input, open);
    }
    return open.empty() || is_joined_[input];
  }

  // Says which units an input waits for; of several, the one that failed tells why.
  void noteMissing(std::size_t input, const std::vector<const PlannedUnit*>& open) {
    JobState::Unit told;
    for (const PlannedUnit* unit : open) {
      const JobState::Unit state = stateOfUnit(plan_, store_, names_, *unit);
      told = told.id.empty() || state.state > told.state ? state : told;
    }
    const std::string reason = told.state == JobState::UnitState::kFailed    ? " failed: " + told.note
                               : told.state == JobState::UnitState::kRunning ? " is at work on " + told.note
                                                                             : " is open";
    const std::size_t others = open.front()->inputs.size() - 1;
    joined_.missing.push_back(base::quotedPath(plan_.inputs[input].input.file) +
                              (others > 0 ? " and " + std::to_string(others) + " more" : "") + ": no output yet, unit " +
                              told.id + reason +
                              (open.size() > 1 ? " (" + std::to_string(open.size()) + " units are not done)" : ""));
  }

  // An output that cannot be the job's own does not stop the others.
  template <typename Work> void write(std::size_t input, std::int64_t frames, const Work& work) {
    const fs::path& output = plan_.inputs[input].input.output;
    if (is_joined_[input]) {
      joined_.outputs.push_back(output);
      tell(frames);
      return;
    }
    std::error_code ignored;
    fs::create_directories(output.parent_path(), ignored);
    std::unique_ptr<base::TemporaryOutput> file;
    try {
      file = std::make_unique<JoinedOutput>(output, plan_.recipe.sink.overwrite, noteOf(input));
    } catch (const Error& error) {
      joined_.failures.push_back(!fs::exists(output, ignored) || plan_.recipe.sink.overwrite
                                     ? error.what()
                                     : base::quotedPath(output) +
                                           " is there and is not this job's own: move it away, and join again");
      return;
    }
    if (work(std::move(file))) {
      joined_.outputs.push_back(output);
    }
  }

  void tell(std::int64_t frames) {
    frames_ += frames;
    if (hooks_.on_frame) {
      hooks_.on_frame(frames_);
    }
  }

  // Returns false if there is no output.
  bool joinParts(std::size_t input, std::unique_ptr<base::TemporaryOutput> output) {
    PlannedInput& planned = plan_.inputs[input];
    std::unique_ptr<Source> packets;
    try {
      if (!requireUnchanged(planned, true, hooks_)) {
        joined_.cancelled = true;
        return false;
      }
      packets = openClipPackets(planned.input.file, sourceOptions(plan_.recipe, true));
    } catch (const Error& error) {
      joined_.failures.push_back(error.what());
      return false;
    }
    std::vector<UnitFile> files;
    for (std::size_t unit = 0; unit < plan_.units.size(); ++unit) {
      if (plan_.units[unit].inputs.front() == input) {
        const ClipPart& part = plan_.units[unit].part;
        files.push_back({store_.folder() / store_.nameOf(plan_.units[unit]), part.first_time, part.frames,
                         results_[unit]->last_duration, results_[unit]->delay});
      }
    }
    const std::optional<ClipSurvey> told =
        joinClip(std::move(output), planned.input.output, *packets, infoForSink(plan_.recipe, packets->info()),
                 resultSize(plan_.recipe, packets->info()), plan_.recipe.sink, files, [this] {
                   tell(1);
                   return !isCancelled();
                 });
    if (!told) {
      joined_.cancelled = true;
      return false;
    }
    for (const auto* lines : {&told->damage, &told->warnings}) {
      joined_.warnings.insert(joined_.warnings.end(), lines->begin(), lines->end());
    }
    joined_.is_damaged = joined_.is_damaged || !told->damage.empty();
    return true;
  }

  void copyImages(std::size_t unit) {
    const PlannedUnit& planned = plan_.units[unit];
    const UnitResult& result = *results_[unit];
    std::size_t file = 0;
    for (std::size_t place = 0; place < planned.inputs.size() && !isCancelled(); ++place) {
      const std::string name = store_.nameOf(planned, place);
      if (file == result.files.size() || result.files[file].name != name) {
        continue; // it failed
      }
      ++file;
      const std::size_t input = planned.inputs[place];
      write(input, 1, [&](std::unique_ptr<base::TemporaryOutput> output) {
        std::error_code error;
        fs::copy_file(store_.folder() / name, output->path(), error);
        if (error) {
          throw Error(ErrorKind::kInputOutput, base::quotedPath(plan_.inputs[input].input.output) + " cannot be written (" +
                                                   error.message() + "): make room or choose another folder");
        }
        output->commit();
        tell(1);
        return true;
      });
    }
    joined_.cancelled = joined_.cancelled || isCancelled();
    for (const UnitResult::Failure& failure : result.failures) {
      joined_.failures.push_back(failure.error);
    }
  }

  Plan plan_;
  UnitStore store_;
  UnitNames names_;
  const JobHooks& hooks_;
  std::vector<bool> is_joined_;                    // of the plan's inputs
  std::vector<std::optional<UnitResult>> results_; // of the plan's units; nothing: it is not done
  JobJoin joined_;
  std::int64_t frames_ = 0;
};

} // namespace

JobJoin joinJob(const fs::path& job, const JobHooks& hooks) {
  return Joiner(readPlan(job), hooks).join();
}

} // namespace vorin::media
