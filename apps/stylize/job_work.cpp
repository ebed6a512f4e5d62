// Does the units of a job: in this process, in copies of this program, or as another program asks.
#include "cancellation.h"
#include "jobs.h"
#include "options.h"
#include "processes.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <utility>

namespace vorin::stylize {
namespace {

using base::ExitStatus;
using UnitState = media::JobState::UnitState;

ExitStatus statusOf(const media::JobState& state, const std::string& only_unit) {
  if (base::cancellationIsDue()) {
    return ExitStatus::kCancelled;
  }
  const bool all_done = std::all_of(state.units.begin(), state.units.end(), [&](const auto& unit) {
    return unit.state == UnitState::kDone || (!only_unit.empty() && unit.id != only_unit);
  });
  return all_done && (state.failures.empty() || !only_unit.empty()) ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
}

ExitStatus reportWork(const Options& options, const media::JobState& state) {
  const ExitStatus status = statusOf(state, options.unit);
  if (!options.quiet) {
    printLine(base::utf8Text(options.job) + ": " + summary(state));
  }
  for (const media::JobState::Unit& unit : state.units) {
    if (unit.state == UnitState::kFailed) {
      printLine("failed: unit " + unit.id + " of " + base::quotedPath(unit.input) + ": " + unit.note);
    }
  }
  if (!options.quiet && status == ExitStatus::kDone && options.unit.empty()) {
    printLine("vorin-stylize job join " + base::utf8Text(options.job) + " writes the outputs");
  }
  if (options.json) {
    nlohmann::ordered_json json = jsonOf(state);
    json["cancelled"] = status == ExitStatus::kCancelled;
    json["exit_status"] = static_cast<int>(status);
    printJson(json);
  }
  return status;
}

// The next line of standard input, which is not read further. Can be cancelled while it waits.
std::optional<std::string> nextLine() {
  for (std::string line;;) {
    std::uint8_t character = 0;
    const std::size_t bytes = base::readInput(base::kStandardInput, {&character, 1}, base::cancellationIsDue());
    base::throwIfCancelled();
    if (bytes == 0) {
      return line.empty() ? std::nullopt : std::optional(line);
    }
    if (character == '\n' && !line.empty()) {
      return line;
    }
    if (character != '\n' && character != '\r') {
      line.push_back(static_cast<char>(character));
    }
  }
}

// Does the units that another program names, one after the other, with the network kept loaded.
ExitStatus workOnRequest(const Options& options) {
  media::JobWorker worker(options.job, options.restyler.models, {&base::cancellationIsDue(), {}, {}, {}, prepareQuietly});
  while (const std::optional<std::string> id = nextLine()) {
    const media::JobState::Unit unit = worker.work(*id);
    base::throwIfCancelled();
    nlohmann::ordered_json answer = {{"unit", unit.id}, {"state", stateText(unit.state)}, {"frames", unit.frames}};
    if (unit.state == UnitState::kDone) {
      answer["seconds"] = unit.seconds;
    } else {
      answer["error"] = unit.note;
    }
    std::cout << answer.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
  }
  return ExitStatus::kDone;
}

// Starts copies of this program, and shows what they have done together. One that ends early is made up for by the others.
media::JobState workInProcesses(const Options& options) {
  constexpr std::chrono::milliseconds kLook(500);
  std::vector<std::string> arguments = {"job", "work", base::utf8Text(options.job), "--quiet", "--skip-failed"};
  if (!options.restyler.models.empty()) {
    arguments.insert(arguments.end(), {"--models", base::utf8Text(options.restyler.models)});
  }
  const media::JobState before = media::jobState(options.job);
  std::vector<std::unique_ptr<base::ChildProgram>> children;
  for (int share = 0; share < options.workers; ++share) {
    base::throwIfCancelled();
    children.push_back(std::make_unique<base::ChildProgram>(arguments, share, options.workers));
  }
  Progress progress(kindFor(options), "frames", before.frames, before.frames_done);
  const auto allHaveEnded = [&] {
    return std::all_of(children.begin(), children.end(), [](const auto& child) { return child->hasEnded(); });
  };
  using Clock = std::chrono::steady_clock;
  Clock::time_point next_look = Clock::now() + kLook;
  for (bool is_cancelled = false; !allHaveEnded();) {
    if (base::cancellationIsDue() && !std::exchange(is_cancelled, true)) { // a second signal would end them at once
      std::for_each(children.begin(), children.end(), [](const auto& child) { child->cancel(); });
    }
    std::this_thread::sleep_for(kLook);
    if (const Clock::time_point begin = Clock::now(); begin >= next_look) {
      constexpr int kMostShare = 20; // a job of many units takes long to look at, which is the workers' time
      progress.update(media::jobState(options.job).frames_done);
      next_look = Clock::now() + kMostShare * (Clock::now() - begin);
    }
  }
  progress.finish();
  for (const auto& child : children) {
    const int status = child->exitStatus();
    const bool has_told = (status >= 0 && status <= static_cast<int>(ExitStatus::kSomeInputsFailed)) || // below 0: a crash
                          status == static_cast<int>(ExitStatus::kCancelled);
    if (!has_told && !base::cancellationIsDue() && media::jobState(options.job).count(UnitState::kOpen) > 0) {
      throw Error(ErrorKind::kInputOutput,
                  "a worker ended with status " + std::to_string(status) + ": see its message above, and go on");
    }
  }
  return media::jobState(options.job);
}

} // namespace

ExitStatus workOnJob(const Options& options) {
  if (options.unit == "-") {
    return workOnRequest(options);
  }
  if (options.unit.empty() && !options.skip_failed) {
    media::forgetFailures(options.job);
  }
  if (options.workers > 1) {
    return reportWork(options, workInProcesses(options));
  }
  const media::JobState before = media::jobState(options.job);
  std::optional<media::JobState> state;
  {
    Progress progress(kindFor(options), "frames", before.frames, before.frames_done);
    media::JobHooks hooks = hooksFor(progress);
    if (!options.quiet) {
      hooks.on_device = [&](const media::RestylerReport& report) { progress.say(headline(report)); };
    }
    media::JobWorker worker(options.job, options.restyler.models, hooks);
    if (options.unit.empty()) {
      state = worker.workOnAll();
    } else {
      worker.work(options.unit);
      state = media::jobState(options.job);
    }
    progress.finish();
  }
  return reportWork(options, *state);
}

} // namespace vorin::stylize
