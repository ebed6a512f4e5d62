// Does the units of a job.
#include "jobs/checked_source.h"
#include "jobs/job_units.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <new>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;
using namespace jobs;
using UnitState = JobState::UnitState;

struct FailedTry {
  std::string error;
  bool may_pass; // another try may succeed
};

Plan planFor(const fs::path& job, const fs::path& models, const JobHooks& hooks) {
  Plan plan = readPlan(job);
  plan.recipe.restyler.models = models.empty() ? plan.recipe.restyler.models : models;
  for (PlannedInput& input : plan.inputs) {
    if (input.failure.empty() && !requireUnchanged(input, false, hooks)) {
      break; // no unit is done either
    }
  }
  return plan;
}

} // namespace

class JobWorker::Work {
public:
  Work(const fs::path& job, const fs::path& models, JobHooks hooks)
      : plan_(planFor(job, models, hooks)), store_(plan_), hooks_(std::move(hooks)),
        restyling_(plan_.recipe, [this](Restyler& restyler, Size size) { prepare(restyler, size); }) {
    store_.sweep();
  }

  JobState::Unit work(const std::string& id, int tries) {
    const auto unit =
        std::find_if(plan_.units.begin(), plan_.units.end(), [&](const PlannedUnit& each) { return each.id == id; });
    if (unit == plan_.units.end()) {
      throw Error(ErrorKind::kUsage, "the job in " + base::quotedPath(plan_.folder) + " has no unit " + base::quoted(id) +
                                         ": vorin-stylize job status --open lists them");
    }
    workOn({&*unit}, tries, true);
    return stateOfUnit(plan_, store_, UnitNames(store_.folder()), *unit);
  }

  JobState workOnAll(int tries) {
    std::vector<const PlannedUnit*> all;
    std::transform(plan_.units.begin(), plan_.units.end(), std::back_inserter(all),
                   [](const PlannedUnit& unit) { return &unit; });
    workOn(all, tries, false);
    return stateOfPlan(plan_);
  }

private:
  void workOn(const std::vector<const PlannedUnit*>& wanted, int tries, bool once) {
    tries_ = tries;
    tries_once_ = once;
    given_up_.clear();
    done_.clear();
    while (!isCancelled() && workOnce(wanted)) {
    }
  }

  bool isCancelled() const { return hooks_.cancelled != nullptr && *hooks_.cancelled; }

  // Does one unit, or waits a moment for other processes. Returns false if nothing is left.
  bool workOnce(const std::vector<const PlannedUnit*>& wanted) {
    constexpr std::chrono::milliseconds kMoment(200);
    const UnitNames names(store_.folder());
    bool others_work = false;
    for (const PlannedUnit* unit : wanted) {
      if (given_up_.contains(unit) || isDone(*unit, names)) {
        continue;
      }
      const bool is_others = names.worker(*unit).has_value();
      if (!is_others && isGivenUp(*unit, names)) {
        continue;
      }
      const std::unique_ptr<UnitClaim> claim = is_others ? nullptr : store_.claim(*unit);
      if (claim != nullptr) {
        doUnit(*unit, *claim, names);
        return true;
      }
      others_work = true;
    }
    if (others_work) {
      std::this_thread::sleep_for(kMoment);
    }
    return others_work;
  }

  // These two remember their units: asking reads a file.
  bool isDone(const PlannedUnit& unit, const UnitNames& names) {
    if (!done_.contains(&unit) && names.haveResult(unit) && store_.result(unit)) {
      done_.insert(&unit);
    }
    return done_.contains(&unit);
  }

  bool isGivenUp(const PlannedUnit& unit, const UnitNames& names) {
    if (names.haveFailure(unit) && store_.failure(unit).isFinal(tries_)) {
      given_up_.insert(&unit);
    }
    return given_up_.contains(&unit);
  }

  void doUnit(const PlannedUnit& unit, UnitClaim& claim, const UnitNames& names) {
    if (store_.result(unit) || store_.failure(unit).isFinal(tries_)) { // another process ended its work on it just now
      return;
    }
    frames_before_ = 0;
    for (const PlannedUnit& each : plan_.units) {
      const bool counts = hooks_.on_frame && isDone(each, names);
      frames_before_ += counts ? each.frames(plan_.inputs) : 0;
    }
    while (!given_up_.contains(&unit)) {
      const std::optional<FailedTry> failed = tryUnit(unit, claim);
      if (!failed || isCancelled()) {
        return;
      }
      const bool is_final = store_.noteFailure(unit, failed->error, failed->may_pass).isFinal(tries_);
      if (is_final && hooks_.on_line) {
        hooks_.on_line("unit " + unit.id + ": " + failed->error);
      }
      if (is_final || tries_once_) {
        given_up_.insert(&unit);
      }
    }
  }

  std::optional<FailedTry> tryUnit(const PlannedUnit& unit, UnitClaim& claim) {
    const auto start = std::chrono::steady_clock::now();
    try {
      UnitResult result;
      const bool is_clip = plan_.inputs[unit.inputs.front()].input.is_clip;
      const bool is_whole = is_clip ? doPart(unit, claim, result) : doImages(unit, claim, result);
      if (is_whole) {
        result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        result.frames = unit.frames(plan_.inputs);
        store_.finish(unit, claim, std::move(result));
      }
      return std::nullopt;
    } catch (const FailedTry& failed) {
      return failed;
    } catch (const Error& error) {
      // Nothing is gained by other units on a full disk, on a machine that is not the planned one, or with a package that does
      // not load. Devices fail by chance.
      if (error.kind() == ErrorKind::kInputOutput || error.kind() == ErrorKind::kModel || !is_checked_) {
        throw;
      }
      return FailedTry{error.what(), error.kind() != ErrorKind::kUsage};
    } catch (const std::bad_alloc&) {
      return FailedTry{"there is not enough memory: use fewer --workers", true};
    }
  }

  // Returns false if it was cancelled.
  bool doPart(const PlannedUnit& unit, UnitClaim& claim, UnitResult& result) {
    PlannedInput& planned = plan_.inputs[unit.inputs.front()];
    try {
      return tryPart(unit, planned, claim, result, planned.is_damaged);
    } catch (const OtherFrames&) {
    }
    try {
      return tryPart(unit, planned, claim, result, true);
    } catch (const OtherFrames&) {
      throw FailedTry{base::quotedPath(planned.input.file) +
                          " gives other frames here than where the job was planned: use the same version of libavcodec",
                      false};
    }
  }

  bool tryPart(const PlannedUnit& unit, PlannedInput& planned, UnitClaim& claim, UnitResult& result, bool without_seeking) {
    SourceOptions options = sourceOptions(plan_.recipe, true);
    options.decoder_threads = planned.is_damaged ? 1 : 0;
    const std::unique_ptr<Source> part =
        openSource(planned, [&] { return openClipPart(planned.input.file, options, unit.part, without_seeking); });
    CheckedSource source(*part, &unit.part);
    const std::string name = store_.nameOf(unit);
    std::error_code ignored;
    fs::remove(claim.folder() / name, ignored);
    const Size size = resultSize(plan_.recipe, part->info());
    const std::unique_ptr<UnitSink> sink =
        openUnitSink(claim.folder() / name, planned.input.output, infoForSink(plan_.recipe, part->info()), size,
                     plan_.recipe.sink, unit.part.warm_up);
    const bool is_whole = run(source, *sink, true, unit.part.first - unit.part.warm_up, unit.part.warm_up, claim);
    result.delay = sink->delay();
    result.last_duration = sink->lastDuration();
    result.files = {{name, 0, {}}};
    return is_whole;
  }

  bool doImages(const PlannedUnit& unit, UnitClaim& claim, UnitResult& result) {
    std::optional<FailedTry> by_chance;
    std::error_code ignored;
    fs::remove_all(claim.folder() / unit.id, ignored);
    fs::create_directories(claim.folder() / unit.id, ignored);
    for (std::size_t place = 0; place < unit.inputs.size(); ++place) {
      PlannedInput& planned = plan_.inputs[unit.inputs[place]];
      try {
        const std::unique_ptr<Source> image =
            openSource(planned, [&] { return openImageSource(planned.input.file, sourceOptions(plan_.recipe, false)); });
        const std::string name = store_.nameOf(unit, place);
        requireImageFits(name, resultSize(plan_.recipe, image->info()));
        CheckedSource source(*image, nullptr);
        const std::unique_ptr<Sink> sink = restyling_.openSink(image->info(), claim.folder() / name);
        if (!run(source, *sink, false, 0, -static_cast<std::int64_t>(place), claim)) {
          return false;
        }
        result.files.push_back({name, 0, {}});
      } catch (const FailedTry& failed) { // an image that fails does not stop the others
        const std::string name = base::quotedPath(planned.input.file);
        const bool is_named = failed.error.find(name) != std::string::npos;
        result.failures.push_back({unit.inputs[place], is_named ? failed.error : name + ": " + failed.error});
        by_chance = failed.may_pass && !by_chance ? failed : by_chance;
      } catch (const Error& error) { // nor does one that the kind of file cannot hold
        if (error.kind() != ErrorKind::kUsage) {
          throw;
        }
        result.failures.push_back({unit.inputs[place], error.what()});
      }
    }
    // The device works if it restyled another image: then the last try leaves the image out.
    const bool is_last = store_.failure(unit).tries + 1 >= tries_;
    if (by_chance && (result.files.empty() || !is_last)) {
      throw FailedTry(*by_chance);
    }
    return true;
  }

  template <typename Open> std::unique_ptr<Source> openSource(PlannedInput& planned, const Open& open) const {
    try {
      static_cast<void>(requireUnchanged(planned, false, hooks_)); // if it was cancelled, the run below ends at once
      return open();
    } catch (const Error& error) {
      throw FailedTry{error.what(), false};
    }
  }

  // left_out: frames that do not count. Returns false if it was cancelled.
  bool run(CheckedSource& source, Sink& sink, bool is_clip, std::int64_t first_frame, std::int64_t left_out, UnitClaim& claim) {
    const auto tell = [&](const Progress& now) {
      claim.showLife();
      if (hooks_.on_frame) {
        hooks_.on_frame(frames_before_ + std::max<std::int64_t>(0, now.frames_done - left_out));
      }
    };
    restyling_.prepare(source.info());
    CheckedSink checked(sink);
    try {
      return !restyling_.run(source, checked, is_clip, {hooks_.cancelled, tell}, first_frame).cancelled;
    } catch (const Error& error) {
      if (checked.hasFailed()) {
        throw;
      }
      const bool is_picture = source.hasFailed() || error.kind() == ErrorKind::kInputOutput; // damaged, or too small
      throw FailedTry{error.what(), !is_picture};
    }
  }

  // Refuses a machine on which the results would be others.
  void prepare(Restyler& restyler, Size size) {
    if (hooks_.prepare) {
      hooks_.prepare(restyler, size);
    } else {
      restyler.prepare(size);
    }
    if (std::exchange(is_checked_, true)) {
      return;
    }
    const Json& options = plan_.decisions.at("options");
    const UnitRules rules = {options.at("unit-length"), options.at("unit-images")};
    const std::string difference = differenceOf(plan_.decisions, decisionsOf(plan_.recipe, rules, restyler.report()));
    if (!difference.empty()) {
      throw Error(ErrorKind::kModel, "the job in " + base::quotedPath(plan_.folder) + " was planned otherwise: " + difference +
                                         "; use what it was planned with, or plan another job");
    }
    if (hooks_.on_device) {
      hooks_.on_device(restyler.report());
    }
  }

  Plan plan_;
  UnitStore store_;
  JobHooks hooks_;
  Restyling restyling_;
  bool is_checked_ = false;
  int tries_ = 1; // of a unit, by all processes
  bool tries_once_ = false;
  std::set<const PlannedUnit*> given_up_;
  std::set<const PlannedUnit*> done_;
  std::int64_t frames_before_ = 0; // of the units that are done
};

JobWorker::JobWorker(const fs::path& job, const fs::path& models, JobHooks hooks)
    : work_(std::make_unique<Work>(job, models, std::move(hooks))) {}
JobWorker::~JobWorker() = default;

JobState::Unit JobWorker::work(const std::string& unit, int tries) {
  return work_->work(unit, tries);
}

JobState JobWorker::workOnAll(int tries) {
  return work_->workOnAll(tries);
}

} // namespace vorin::media
