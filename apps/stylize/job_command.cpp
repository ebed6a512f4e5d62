// Plans, does and joins jobs, and restyles one clip as a job.
#include "cancellation.h"
#include "many_inputs.h"
#include "options.h"
#include "output_file.h"
#include "processes.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <thread>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;
using UnitState = media::JobState::UnitState;

ProgressKind kindFor(const Options& options) {
  return progressKind(options.progress == ProgressWish::kJson, options.quiet);
}

// Hooks that show progress, and print lines above it.
media::JobHooks hooksFor(Progress& progress) {
  return {&base::cancellationIsDue(),
          [&](std::int64_t frames) { progress.update(frames); },
          [&](const std::string& line) { progress.say(line); },
          {},
          prepareQuietly};
}

std::vector<media::JobInput> inputsOf(const std::vector<InputResult>& results) {
  std::vector<media::JobInput> inputs;
  std::transform(results.begin(), results.end(), std::back_inserter(inputs), [](const InputResult& result) {
    return media::JobInput{result.input, result.output, result.is_clip};
  });
  return inputs;
}

// Many inputs, or one, with the rules of an ordinary run.
std::vector<InputResult> listed(const Options& options) {
  const bool is_file_name = media::isImageName(options.output) || isClipOutput(options.output);
  if (nameSeveral(options.inputs) || !is_file_name || base::isFolder(options.output)) {
    return planMany(options);
  }
  InputResult result;
  result.input = options.inputs.front();
  result.output = options.output;
  result.is_clip = isClipOutput(options.output);
  return {result};
}

ExitStatus statusOf(const media::JobState& state, const std::string& only_unit) {
  if (base::cancellationIsDue()) {
    return ExitStatus::kCancelled;
  }
  const bool all_done = std::all_of(state.units.begin(), state.units.end(), [&](const auto& unit) {
    return unit.state == UnitState::kDone || (!only_unit.empty() && unit.id != only_unit);
  });
  return all_done && state.failures.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
}

std::string stateText(UnitState state) {
  switch (state) {
  case UnitState::kRunning:
    return "running";
  case UnitState::kDone:
    return "done";
  case UnitState::kFailed:
    return "failed";
  case UnitState::kOpen:
    break;
  }
  return "open";
}

std::string summary(const media::JobState& state) {
  std::string text = std::to_string(state.count(UnitState::kDone)) + " of " + std::to_string(state.units.size()) + " units done";
  for (const UnitState each : {UnitState::kRunning, UnitState::kFailed}) {
    text += state.count(each) > 0 ? ", " + std::to_string(state.count(each)) + ' ' + stateText(each) : "";
  }
  return text + "; " + std::to_string(state.frames_done) + " of " + std::to_string(state.frames) + " frames";
}

nlohmann::ordered_json jsonOf(const media::JobState& state) {
  nlohmann::ordered_json units = nlohmann::ordered_json::array();
  for (const media::JobState::Unit& unit : state.units) {
    units.push_back(
        {{"id", unit.id}, {"state", stateText(unit.state)}, {"input", base::utf8Text(unit.input)}, {"frames", unit.frames}});
    if (!unit.note.empty()) {
      units.back()[unit.state == UnitState::kFailed ? "error" : "worker"] = unit.note;
    }
  }
  return {{"units", units}, {"frames", state.frames}, {"frames_done", state.frames_done}, {"failures", state.failures}};
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
    media::waitForStandardInput(base::cancellationIsDue());
    base::throwIfCancelled();
    const int character = std::getchar();
    if (character == EOF) {
      return line.empty() ? std::nullopt : std::optional(line);
    }
    if (character == '\n') {
      return line;
    }
    line.push_back(static_cast<char>(character));
  }
}

// Does the units that another program names, one after the other, with the network kept loaded.
ExitStatus workOnRequest(const Options& options) {
  std::setvbuf(stdin, nullptr, _IONBF, 0); // what lies in a buffer cannot be waited for
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
  std::vector<std::string> arguments = {"job", "work", base::utf8Text(options.job), "--quiet"};
  if (!options.restyler.models.empty()) {
    arguments.insert(arguments.end(), {"--models", base::utf8Text(options.restyler.models)});
  }
  const media::JobState before = media::jobState(options.job);
  std::vector<std::unique_ptr<base::ChildProgram>> children;
  for (int share = 0; share < options.workers; ++share) {
    children.push_back(std::make_unique<base::ChildProgram>(arguments, share, options.workers));
  }
  Progress progress(kindFor(options), "frames", before.frames, before.frames_done);
  const auto allHaveEnded = [&] {
    return std::all_of(children.begin(), children.end(), [](const auto& child) { return child->hasEnded(); });
  };
  while (!allHaveEnded()) {
    if (base::cancellationIsDue()) {
      std::for_each(children.begin(), children.end(), [](const auto& child) { child->cancel(); });
    }
    std::this_thread::sleep_for(kLook);
    progress.update(media::jobState(options.job).frames_done);
  }
  progress.finish();
  for (const auto& child : children) {
    const int status = child->exitStatus();
    const bool has_told =
        status <= static_cast<int>(ExitStatus::kSomeInputsFailed) || status == static_cast<int>(ExitStatus::kCancelled);
    if (!has_told) {
      throw Error(ErrorKind::kInputOutput,
                  "a worker ended with status " + std::to_string(status) + ": see its message above, and go on");
    }
  }
  return media::jobState(options.job);
}

} // namespace

ExitStatus planJob(const Options& options) {
  const std::vector<InputResult> results = listed(options);
  bool is_planned = false;
  {
    Progress progress(kindFor(options), "frames", std::nullopt);
    is_planned = media::planJob(options.job, inputsOf(results), options, options.unit_rules, hooksFor(progress));
    progress.finish();
  }
  if (!is_planned) {
    return ExitStatus::kCancelled;
  }
  const media::JobState state = media::jobState(options.job);
  if (!options.quiet) {
    printLine(base::utf8Text(options.job) + ": " + summary(state));
  }
  const ExitStatus status = state.failures.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
  if (options.json) {
    nlohmann::ordered_json json = jsonOf(state);
    json["exit_status"] = static_cast<int>(status);
    printJson(json);
  }
  return status;
}

ExitStatus workOnJob(const Options& options) {
  if (options.unit == "-") {
    return workOnRequest(options);
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

ExitStatus printJobState(const Options& options) {
  const media::JobState state = media::jobState(options.job);
  if (options.json) {
    nlohmann::ordered_json json = jsonOf(state);
    json["exit_status"] = 0;
    printJson(json);
    return ExitStatus::kDone;
  }
  if (!options.open_units) {
    std::cout << summary(state) << "\n";
  }
  for (const media::JobState::Unit& unit : state.units) {
    if (options.open_units && unit.state != UnitState::kDone) {
      std::cout << unit.id << "\n";
    } else if (!options.open_units && !unit.note.empty()) {
      std::cout << stateText(unit.state) << ": " << unit.id << " of " << base::quotedPath(unit.input) << ": " << unit.note
                << "\n";
    }
  }
  for (const std::string& failure : options.open_units ? std::vector<std::string>() : state.failures) {
    std::cout << "no result: " << failure << "\n";
  }
  return ExitStatus::kDone;
}

ExitStatus joinJob(const Options& options) {
  std::optional<media::JobJoin> joined;
  {
    Progress progress(kindFor(options), "frames", media::jobState(options.job).frames);
    joined = media::joinJob(options.job, hooksFor(progress));
    progress.finish();
  }
  for (const auto* lines : {&joined->warnings, &joined->failures}) {
    std::for_each(lines->begin(), lines->end(), printLine);
  }
  ExitStatus status = joined->failures.empty() && !joined->is_damaged ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
  if (!joined->damaged_units.empty()) {
    printLine(std::to_string(joined->damaged_units.size()) +
              " units are damaged and open again: do them with vorin-stylize job work " + base::utf8Text(options.job));
    status = ExitStatus::kSomeInputsFailed;
  }
  if (joined->cancelled) {
    status = ExitStatus::kCancelled;
  }
  if (!options.quiet) {
    printLine(base::utf8Text(options.job) + ": " + std::to_string(joined->outputs.size()) +
              (joined->outputs.size() == 1 ? " output" : " outputs") + " written");
  }
  if (options.json) {
    nlohmann::ordered_json outputs = nlohmann::ordered_json::array();
    std::transform(joined->outputs.begin(), joined->outputs.end(), std::back_inserter(outputs), base::utf8Text);
    printJson({{"outputs", outputs},
               {"damaged_units", joined->damaged_units},
               {"failures", joined->failures},
               {"warnings", joined->warnings},
               {"cancelled", joined->cancelled},
               {"exit_status", static_cast<int>(status)}});
  }
  return status;
}

// ---- One clip as a job ----

namespace {

fs::path jobOf(fs::path output) {
  return output += ".job";
}

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
      throw Error(ErrorKind::kInputOutput, failed->note.empty() ? "a unit is not done: start the program again" : failed->note);
    }
    media::JobJoin joined = media::joinJob(job, {&base::cancellationIsDue(), {}, {}, {}, {}});
    base::throwIfCancelled();
    if (joined.damaged_units.empty() || is_again) {
      return joined;
    }
  }
}

} // namespace

void removeJobOf(const fs::path& output) {
  std::error_code ignored;
  if (fs::exists(jobOf(output) / "job.json", ignored)) {
    fs::remove_all(jobOf(output), ignored);
  }
}

void resumeClip(const Options& options, InputResult& result, bool with_progress) {
  const fs::path job = jobOf(result.output);
  const std::vector<media::JobInput> inputs = {{result.input, result.output, true}};
  const auto start = std::chrono::steady_clock::now();
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
  }
  result.size = media::resultSize(options, media::openClipSource(result.input, options.source)->info());
  const media::JobState before = media::jobState(job);
  const media::JobJoin joined = workAndJoin(options, job, with_progress);
  const double elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.frames = before.frames;
  result.frames_per_second = elapsed_s > 0 ? static_cast<double>(before.frames - before.frames_done) / elapsed_s : 0;
  (joined.is_damaged ? result.damage : result.warnings) = joined.warnings;
  removeJobOf(result.output);
}

} // namespace vorin::stylize
