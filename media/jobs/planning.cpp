// Writes a job's plan, or compares it with the one that is there.
#include "jobs/job_file.h"
#include "output_file.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <system_error>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;
using namespace jobs;

constexpr int kEncoderThreads = 4; // the same on every machine, since x264's bytes depend on it

// Frames after which a style's memory shows no more of what was before it, by trial: see docs/scale.md.
std::int64_t warmUpFrames(const Recipe& recipe) {
  const bool is_transfer = recipe.restyler.style == Style::kTransfer;
  if (recipe.steady) {
    constexpr std::int64_t kDots = 24;
    constexpr std::int64_t kStrokes = 32;
    constexpr std::int64_t kLong = 150;
    return recipe.restyler.style == Style::kStippling ? kDots : is_transfer ? kLong : kStrokes;
  }
  constexpr std::int64_t kSmoothed = 12; // the library smooths the transfer's frames
  return is_transfer ? kSmoothed : 0;
}

RestylerReport reportFor(const Recipe& recipe, const JobHooks& hooks) {
  Restyler restyler(recipe.restyler);
  if (!restyler.report().network.empty()) { // all is known before a network is loaded
    return restyler.report();
  }
  constexpr Size kAnySize = {64, 48};
  if (hooks.prepare) {
    hooks.prepare(restyler, kAnySize);
  } else {
    restyler.prepare(kAnySize);
  }
  return restyler.report();
}

Error another(const fs::path& job, const std::string& difference) {
  return {ErrorKind::kUsage, "the job in " + base::quotedPath(job) + " was planned otherwise: " + difference +
                                 "; use the same inputs, options and device, or remove that folder to begin anew"};
}

// Returns false if it was cancelled.
bool requireSame(Plan plan, std::span<const JobInput> inputs, const Json& decisions, const JobHooks& hooks) {
  if (const std::string difference = differenceOf(plan.decisions, decisions); !difference.empty()) {
    throw another(plan.folder, difference);
  }
  const auto same = [](const fs::path& a, const fs::path& b) {
    std::error_code error;
    return fs::absolute(a, error).lexically_normal() == fs::absolute(b, error).lexically_normal();
  };
  for (std::size_t i = 0; i < std::max(inputs.size(), plan.inputs.size()); ++i) {
    if (i >= inputs.size()) {
      throw another(plan.folder, base::quotedPath(plan.inputs[i].input.file) + " is no longer named");
    }
    if (i >= plan.inputs.size() || !same(plan.inputs[i].input.file, inputs[i].file) ||
        !same(plan.inputs[i].input.output, inputs[i].output)) {
      throw another(plan.folder, base::quotedPath(inputs[i].file) + " was not among the inputs, or had another output");
    }
    if (plan.inputs[i].failure.empty() && !requireUnchanged(plan.inputs[i], true, hooks)) {
      return false;
    }
  }
  return true;
}

class Planner {
public:
  Planner(Plan& plan, const UnitRules& rules, const JobHooks& hooks) : plan_(plan), rules_(rules), hooks_(hooks) {}

  // Returns false if it was cancelled.
  bool look(std::span<const JobInput> inputs) {
    for (const JobInput& input : inputs) {
      plan_.inputs.push_back({input, {}, {}, 0, false, {}});
      if (!tryToLook(plan_.inputs.size() - 1)) {
        return false;
      }
    }
    addImages();
    if (plan_.units.empty()) {
      throw Error(ErrorKind::kInputOutput, plan_.inputs.front().failure);
    }
    for (PlannedUnit& unit : plan_.units) {
      unit.id = idOf(plan_, unit);
    }
    return true;
  }

private:
  bool tryToLook(std::size_t index) {
    PlannedInput& planned = plan_.inputs[index];
    try {
      planned.file = stateOf(planned.input.file, hooks_);
      if (planned.file.sha256.empty()) {
        return false;
      }
      if (planned.input.is_clip) {
        return lookThrough(index);
      }
      images_.push_back(index);
    } catch (const Error& error) {
      if (error.kind() != ErrorKind::kInputOutput) {
        throw;
      }
      planned.failure = error.what();
      if (hooks_.on_line) {
        hooks_.on_line(error.what());
      }
    }
    return true;
  }

  // Returns nothing if it was cancelled.
  std::optional<ClipSurvey> surveyOf(const JobInput& input, int decoder_threads) {
    SourceOptions options = sourceOptions(plan_.recipe, true);
    options.decoder_threads = decoder_threads;
    const std::unique_ptr<Source> clip = openClipSource(input.file, options);
    static_cast<void>(resultSize(plan_.recipe, clip->info()));
    return surveyClip(*clip, {rules_.clip_s, warmUpFrames(plan_.recipe)}, [this] {
      if (hooks_.on_frame) {
        hooks_.on_frame(++frames_);
      }
      return hooks_.cancelled == nullptr || !*hooks_.cancelled;
    });
  }

  bool lookThrough(std::size_t index) {
    PlannedInput& planned = plan_.inputs[index];
    std::optional<ClipSurvey> survey = surveyOf(planned.input, 0);
    if (survey && !survey->damage.empty()) { // which decoders repair alike only on one thread
      survey = surveyOf(planned.input, 1);
      planned.is_damaged = true;
    }
    if (!survey) {
      return false;
    }
    planned.told = survey->damage;
    planned.told.insert(planned.told.end(), survey->warnings.begin(), survey->warnings.end());
    for (const ClipPart& part : survey->parts) {
      plan_.units.push_back({{}, {index}, part});
      planned.frames += part.frames;
    }
    return true;
  }

  void addImages() {
    const auto most = static_cast<std::size_t>(std::max(1, rules_.images));
    for (std::size_t first = 0; first < images_.size(); first += most) {
      const auto begin = images_.begin() + static_cast<std::ptrdiff_t>(first);
      const auto end = images_.begin() + static_cast<std::ptrdiff_t>(std::min(images_.size(), first + most));
      plan_.units.push_back({{}, {begin, end}, {}});
    }
  }

  Plan& plan_;
  const UnitRules& rules_;
  const JobHooks& hooks_;
  std::vector<std::size_t> images_;
  std::int64_t frames_ = 0;
};

} // namespace

bool planJob(const fs::path& job, std::span<const JobInput> inputs, const Recipe& recipe, const UnitRules& rules,
             const JobHooks& hooks) {
  if (inputs.empty()) {
    throw Error(ErrorKind::kUsage, "a job needs inputs: name images, clips or folders of them");
  }
  Plan plan;
  plan.folder = job;
  plan.recipe = recipe;
  plan.recipe.sink.encoder_threads = recipe.sink.encoder_threads > 0 ? recipe.sink.encoder_threads : kEncoderThreads;
  if (!recipe.style_image.empty()) {
    static_cast<void>(readImage(recipe.style_image, recipe.source)); // its faults show before all is decoded
  }
  const RestylerReport report = reportFor(recipe, hooks);
  if (hooks.on_device) {
    hooks.on_device(report);
  }
  plan.decisions = decisionsOf(plan.recipe, rules, report);
  std::error_code error;
  if (fs::exists(fileOf(job), error)) {
    return requireSame(readPlan(job), inputs, plan.decisions, hooks);
  }
  for (const JobInput& input : inputs) {
    requireWritableName(input.file, job);
    requireWritableName(input.output, job);
    if (input.is_clip) {
      checkClipOptions(input.output, recipe.sink);
    }
    std::error_code ignored;
    if (!recipe.sink.overwrite && fs::exists(input.output, ignored)) {
      base::requireWritable(input.output, false);
    }
  }
  if (!Planner(plan, rules, hooks).look(inputs)) {
    return false;
  }
  fs::create_directories(job / "units", error);
  if (error) {
    throw Error(ErrorKind::kInputOutput,
                "the folder " + base::quotedPath(job) + " cannot be made (" + error.message() + "): choose another one");
  }
  try {
    writePlan(plan);
  } catch (const Error&) { // another process may have planned the same meanwhile
    if (!fs::exists(fileOf(job), error)) {
      throw;
    }
    return requireSame(readPlan(job), inputs, plan.decisions, hooks);
  }
  return true;
}

} // namespace vorin::media
