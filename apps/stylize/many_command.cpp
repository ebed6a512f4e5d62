// Restyles many inputs into a folder and keeps their tree of folders. An input that fails does not stop the others.
//
// A result gets its name only when it is complete. So a resumed run treats every input whose output name exists as done.
#include "many_inputs.h"
#include "options.h"
#include "output_file.h"
#include "report.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;
using Outcome = InputResult::Outcome;

Error usage(const std::string& line) {
  return {ErrorKind::kUsage, line};
}

Error amongTheInputs(const fs::path& name) {
  return usage("the results would lie among the inputs of " + base::quotedPath(name) + ": name another folder with -o");
}

} // namespace

std::vector<InputResult> planMany(const Options& options) {
  std::error_code error;
  for (const fs::path& name : options.inputs) {
    if (fs::is_directory(name, error) && fs::equivalent(name, options.output, error)) {
      throw amongTheInputs(name);
    }
  }
  std::vector<InputResult> planned;
  std::map<std::string, int> other_kinds;
  const std::vector<Input> listed = listInputs(options.inputs, options.output, true, &other_kinds);
  if (!options.quiet && !other_kinds.empty()) {
    std::vector<std::string> kinds;
    kinds.reserve(other_kinds.size());
    for (const auto& [extension, files] : other_kinds) {
      kinds.push_back(std::to_string(files) + ' ' + (extension.empty() ? "without an extension" : extension));
    }
    printLine("left out, as no images or clips by their names: " + base::joined(kinds));
  }
  std::map<fs::path, int> wanted;
  std::set<fs::path> read; // without links
  for (const Input& input : listed) {
    ++wanted[outputFor(input, options)];
    read.insert(fs::weakly_canonical(input.file, error));
  }
  std::map<fs::path, fs::path> inputs;
  for (const Input& input : listed) {
    fs::path output = outputFor(input, options);
    if (wanted[output] > 1 && output.extension() != input.place.extension()) { // a.jpg becomes a.jpg.png beside a.png
      output = (options.output / input.place).concat(output.extension().native());
    }
    const auto [other, is_new] = inputs.emplace(output, input.file);
    if (!is_new) {
      throw usage(base::quotedPath(other->second) + " and " + base::quotedPath(input.file) + " would both be written to " +
                  base::quotedPath(output) + ": leave --to out, or restyle one of them alone");
    }
    if (read.contains(fs::weakly_canonical(output, error)) || fs::equivalent(input.file, output, error)) {
      throw amongTheInputs(input.file);
    }
    media::requireNotRead(output, {options.style_image});
    InputResult result;
    result.input = input.file;
    result.output = output;
    result.is_clip = input.is_clip;
    planned.push_back(result);
  }
  if (planned.empty()) {
    throw Error(ErrorKind::kInputOutput,
                "there is no image or clip in " + base::quotedPath(options.inputs.front()) + ": name another folder");
  }
  if (std::none_of(planned.begin(), planned.end(), [&](const auto& each) { return fs::exists(each.input, error) || error; })) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(planned.front().input) + " does not exist: check the name");
  }
  return planned;
}

namespace {

// An input that is its own result counts as not done.
bool isDone(const InputResult& planned) {
  std::error_code error;
  return fs::is_regular_file(planned.output, error) && !fs::equivalent(planned.input, planned.output, error);
}

void removeAllLeftovers(const Options& options, const std::vector<InputResult>& planned) {
  std::set<fs::path> folders;
  for (const InputResult& each : planned) {
    folders.insert(each.output.parent_path());
  }
  std::for_each(folders.begin(), folders.end(), [&](const fs::path& folder) { removeLeftovers(options, folder); });
}

// Prints the summary and the names of the failed inputs.
ExitStatus conclude(const Options& options, const std::vector<InputResult>& results) {
  const std::size_t failed = count(results, Outcome::kFailed);
  if (!options.quiet) {
    const std::size_t done = count(results, Outcome::kDone);
    const std::size_t skipped = count(results, Outcome::kSkipped);
    const std::string unit = unitOf(results);
    printLine(base::utf8Text(options.output) + ": " + std::to_string(done) + " " +
              (done == 1 ? unit.substr(0, unit.size() - 1) : unit) + " restyled" +
              (skipped > 0 ? ", " + std::to_string(skipped) + " there already" : "") +
              (failed > 0 ? ", " + std::to_string(failed) + " failed:" : ""));
  }
  bool is_damaged = false;
  int exist_already = 0;
  for (const InputResult& result : results) {
    if (result.outcome == Outcome::kFailed) {
      printLine("failed: " + base::quotedPath(result.input));
      exist_already += isDone(result) ? 1 : 0;
    }
    is_damaged = is_damaged || !result.damage.empty();
  }
  if (exist_already > 0 && !options.sink.overwrite) {
    printLine(std::to_string(exist_already) + " of the results are there already: add --resume to skip them");
  }
  return failed > 0 || is_damaged ? ExitStatus::kSomeInputsFailed : ExitStatus::kDone;
}

media::RestylerReport restyleAll(const Options& options, std::vector<InputResult>& results) {
  static std::optional<media::Restyling> restyling; // not destroyed: main ends the process without that
  restyling.emplace(options, prepareQuietly);
  media::RestylerReport report = restyling->report();
  if (!options.quiet) {
    printLine(headline(report));
  }
  restyleEach(options, *restyling, results);
  return report;
}

} // namespace

ExitStatus restyleMany(const Options& options) {
  std::vector<InputResult> results = planMany(options);
  const bool has_clips = unitOf(results) == "files";
  if (!has_clips && !options.clip_options.empty()) {
    throw usage(options.clip_options.front() + " applies to clips only, and none is named: leave it out");
  }
  makeFolder(options.output);
  removeAllLeftovers(options, results);
  if (options.resume) {
    for (InputResult& result : results) {
      result.outcome = isDone(result) ? Outcome::kSkipped : Outcome::kDone;
      if (result.outcome == Outcome::kSkipped) {
        removeJobOf(result.output);
      }
    }
  }
  std::optional<media::RestylerReport> report;
  if (count(results, Outcome::kSkipped) < results.size()) {
    report = restyleAll(options, results);
  }
  const ExitStatus status = conclude(options, results);
  if (options.json) {
    printRun(report ? jsonOf(*report) : nlohmann::ordered_json(), results, status);
  }
  return status;
}

} // namespace vorin::stylize