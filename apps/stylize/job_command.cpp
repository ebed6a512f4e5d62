// Plans and joins jobs, and tells where they stand.
#include "cancellation.h"
#include "jobs.h"
#include "many_inputs.h"
#include "options.h"
#include "progress.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

namespace vorin::stylize {
namespace {

using base::ExitStatus;
using UnitState = media::JobState::UnitState;

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
  media::requireNotRead(result.output, {result.input, options.style_image});
  return {result};
}

} // namespace

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

} // namespace vorin::stylize
