// Restyles one clip as a job, which survives every end: a folder beside the output keeps what is done.
#include "cancellation.h"
#include "files.h"
#include "jobs.h"
#include "many_inputs.h"
#include "options.h"
#include "processes.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <optional>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using UnitState = media::JobState::UnitState;

fs::path jobOf(fs::path output) {
  return output += ".job";
}

// Keeps other runs away from a job while this one works on it. The file with the lock goes with the folder of the job.
class OnlyRun {
public:
  OnlyRun(const fs::path& job, const fs::path& output) : job_(job), file_(job / "run") {
    std::error_code ignored;
    do { // once more if the run that held the lock has just removed the folder
      lock_.reset();
      fs::create_directories(job, ignored);
      lock_.emplace(file_, false);
      if (lock_->isTaken()) {
        std::string other;
        std::ifstream stream(file_);
        std::getline(stream, other);
        other = other.empty() ? "another process" : other;
        throw Error(ErrorKind::kInputOutput,
                    base::quotedPath(output) + " is at work already (" + other + "): wait for the end of that run, or end it");
      }
    } while (fs::is_directory(job, ignored) && !fs::exists(file_, ignored));
    std::ofstream(file_) << base::hostName() << ", process " << base::processId() << "\n";
  }

  // Leaves no folder without a job.
  ~OnlyRun() {
    std::error_code ignored;
    if (!is_planned_) {
      endWithFile();
      fs::remove(job_, ignored);
    }
  }
  OnlyRun(const OnlyRun&) = delete;
  OnlyRun& operator=(const OnlyRun&) = delete;

  void notePlan() { is_planned_ = true; }
  void endWithFile() { lock_->removeFile(file_); }

private:
  const fs::path job_;
  const fs::path file_;
  std::optional<base::FileLock> lock_;
  bool is_planned_ = false;
};

// Joins; does the damaged units again, once.
media::JobJoin workAndJoin(const Options& options, const fs::path& job, bool with_progress) {
  const auto kind = with_progress ? kindFor(options) : ProgressKind::kNone;
  for (bool is_again = false;; is_again = true) {
    const media::JobState before = media::jobState(job);
    Progress progress(kind, "frames", before.frames, before.frames_done);
    const media::JobState state = media::JobWorker(job, options.restyler.models, hooksFor(progress)).workOnAll();
    progress.finish();
    if (base::cancellationIsDue() && !options.quiet) {
      printLine(base::quotedPath(job) + " keeps " + std::to_string(state.frames_done) + " of " + std::to_string(state.frames) +
                " frames: the same command goes on");
    }
    base::throwIfCancelled();
    const auto failed =
        std::find_if(state.units.begin(), state.units.end(), [](const auto& unit) { return unit.state != UnitState::kDone; });
    if (failed != state.units.end()) {
      throw Error(ErrorKind::kInputOutput,
                  failed->state == UnitState::kFailed ? failed->note : "a unit is not done: start the program again");
    }
    media::JobJoin joined = media::joinJob(job, {&base::cancellationIsDue(), {}, {}, {}, {}});
    base::throwIfCancelled();
    if (!joined.failures.empty()) {
      throw Error(ErrorKind::kInputOutput, joined.failures.front());
    }
    if (joined.damaged_units.empty()) {
      return joined;
    }
    if (is_again) {
      throw Error(ErrorKind::kInputOutput,
                  base::quotedPath(job) + " does not keep what is written there: check its disk, and start the program again");
    }
  }
}

} // namespace

void removeJobOf(const fs::path& output) {
  std::error_code ignored;
  if (fs::exists(jobOf(output) / "job.json", ignored) || fs::exists(jobOf(output) / "run", ignored)) {
    base::removeAll(jobOf(output) / "units",
                    ignored); // job.json goes last: what a killed run leaves is then known for what it is
    base::removeAll(jobOf(output), ignored);
  }
}

void resumeClip(const Options& options, InputResult& result, bool with_progress) {
  const fs::path job = jobOf(result.output);
  const std::vector<media::JobInput> inputs = {{result.input, result.output, true}};
  const auto start = std::chrono::steady_clock::now();
  OnlyRun only_run(job, result.output);
  if (with_progress) { // else all leftovers are gone already
    removeLeftovers(options, result.output.parent_path());
  }
  {
    Progress progress(with_progress ? kindFor(options) : ProgressKind::kNone, "frames", std::nullopt);
    media::JobHooks hooks = hooksFor(progress);
    hooks.on_device = [&](const media::RestylerReport& report) {
      result.restyler = report;
      if (with_progress && !options.quiet) {
        progress.say(headline(report));
      }
    };
    const bool is_planned = media::planJob(job, inputs, options, options.unit_rules, hooks);
    progress.finish();
    if (!is_planned) {
      throw base::Cancelled();
    }
    only_run.notePlan();
    media::forgetFailures(job);
  }
  result.size = media::resultSize(options, media::openClipSource(result.input, options.source)->info());
  const media::JobState before = media::jobState(job);
  const media::JobJoin joined = workAndJoin(options, job, with_progress);
  const double elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.frames = before.frames;
  result.frames_per_second = elapsed_s > 0 ? static_cast<double>(before.frames - before.frames_done) / elapsed_s : 0;
  (joined.is_damaged ? result.damage : result.warnings) = joined.warnings;
  only_run.endWithFile();
  removeJobOf(result.output);
}

} // namespace vorin::stylize
