#include "jobs/job_file.h"

#include "files.h"
#include "library_copy.h"
#include "model_package.h"
#include "output_file.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

namespace vorin::media::jobs {
namespace {

namespace fs = std::filesystem;

constexpr int kFormat = 1;
constexpr std::array kStyles = {Style::kTransfer, Style::kLightGrey, Style::kCartoon, Style::kStippling, Style::kPencilSketch};
constexpr std::array kSounds = {Sound::kCopyOrAac, Sound::kCopy, Sound::kAac, Sound::kNone};
constexpr std::array kSoundNames = {"copy or aac", "copy", "aac", "none"};

template <typename Value> Json optional(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

template <typename Value> std::optional<Value> optionalIn(const Json& json, const char* key) {
  const Json& value = json.at(key);
  return value.is_null() ? std::nullopt : std::optional(value.get<Value>());
}

// ---- Paths: relative to the job's folder, so that the folder can move together with the files ----

std::string pathText(const fs::path& path, const fs::path& folder) {
  std::error_code error;
  const fs::path relative = fs::weakly_canonical(fs::absolute(path, error), error)
                                .lexically_proximate(fs::weakly_canonical(fs::absolute(folder, error), error));
  return base::utf8Text(relative.generic_string());
}

fs::path pathIn(const Json& json, const fs::path& folder) {
  std::error_code error;
  const fs::path path = base::pathFromUtf8(json.get<std::string>());
  return path.empty() ? path : (fs::weakly_canonical(fs::absolute(folder, error), error) / path).lexically_normal();
}

// ---- The options ----

Json optionsJson(const Recipe& recipe) {
  const SizeRule size = recipe.size.value_or(SizeRule());
  return {{"style", nameOf(recipe.restyler.style)},
          {"network", recipe.restyler.network},
          {"size", {size.width, size.height, size.percent}},
          {"strength", recipe.strength},
          {"keep-colors", recipe.keep_colours},
          {"steady", recipe.steady},
          {"background", recipe.source.background},
          {"max-pixels", optional(recipe.source.max_pixels)},
          {"start", recipe.source.start_s},
          {"end", optional(recipe.source.end_s)},
          {"codec", recipe.sink.codec},
          {"crf", optional(recipe.sink.crf)},
          {"sound", kSoundNames.at(static_cast<std::size_t>(std::find(kSounds.begin(), kSounds.end(), recipe.sink.sound) -
                                                            kSounds.begin()))},
          {"quality", optional(recipe.sink.quality)},
          {"keep-alpha", recipe.sink.keep_alpha},
          {"encoder-threads", recipe.sink.encoder_threads}};
}

template <typename Name> std::size_t placeOf(const Name& is_it, std::size_t count, const fs::path& job, const char* what) {
  for (std::size_t place = 0; place < count; ++place) {
    if (is_it(place)) {
      return place;
    }
  }
  throw damagedJob(job, std::string("it has an unknown ") + what);
}

Recipe recipeIn(const Json& options, const fs::path& job) {
  Recipe recipe;
  const auto style = options.at("style").get<std::string>();
  recipe.restyler.style =
      kStyles.at(placeOf([&](std::size_t i) { return nameOf(kStyles.at(i)) == style; }, kStyles.size(), job, "style"));
  recipe.restyler.network = options.at("network");
  const Json& size = options.at("size");
  const SizeRule rule = {size.at(0).get<int>(), size.at(1).get<int>(), size.at(2).get<double>()};
  recipe.size = rule == SizeRule() ? std::nullopt : std::optional(rule);
  recipe.strength = options.at("strength");
  recipe.keep_colours = options.at("keep-colors");
  recipe.steady = options.at("steady");
  recipe.source.background = options.at("background");
  recipe.source.max_pixels = optionalIn<std::uint64_t>(options, "max-pixels");
  recipe.source.start_s = options.at("start");
  recipe.source.end_s = optionalIn<double>(options, "end");
  recipe.sink.codec = options.at("codec");
  recipe.sink.crf = optionalIn<int>(options, "crf");
  const auto sound = options.at("sound").get<std::string>();
  recipe.sink.sound =
      kSounds.at(placeOf([&](std::size_t i) { return sound == kSoundNames.at(i); }, kSounds.size(), job, "sound"));
  recipe.sink.quality = optionalIn<int>(options, "quality");
  recipe.sink.keep_alpha = options.at("keep-alpha");
  recipe.sink.encoder_threads = options.at("encoder-threads");
  return recipe;
}

// ---- Inputs and units ----

Json jsonOf(const PlannedInput& planned, const fs::path& folder) {
  Json json = {{"file", pathText(planned.input.file, folder)},
               {"output", pathText(planned.input.output, folder)},
               {"clip", planned.input.is_clip},
               {"bytes", planned.file.bytes},
               {"modified_ns", planned.file.modified_ns},
               {"sha256", planned.file.sha256}};
  if (!planned.failure.empty()) {
    json["failure"] = planned.failure;
  }
  if (planned.input.is_clip) {
    json["frames"] = planned.frames;
  }
  if (planned.is_damaged) {
    json["damaged"] = true;
  }
  if (!planned.told.empty()) {
    json["told"] = planned.told;
  }
  return json;
}

PlannedInput inputIn(const Json& json, const fs::path& folder) {
  PlannedInput planned;
  planned.input = {pathIn(json.at("file"), folder), pathIn(json.at("output"), folder), json.at("clip")};
  planned.file = {json.at("bytes"), json.at("modified_ns"), json.at("sha256")};
  planned.failure = json.value("failure", "");
  planned.frames = json.value("frames", std::int64_t{0});
  planned.is_damaged = json.value("damaged", false);
  planned.told = json.value("told", std::vector<std::string>());
  return planned;
}

Json jsonOf(const ClipPart& part) {
  return {{"first", part.first},     {"frames", part.frames},         {"first_time", part.first_time},
          {"warm_up", part.warm_up}, {"begin_time", part.begin_time}, {"begin_sha256", part.begin_sha256}};
}

PlannedUnit unitIn(const Json& json, const Plan& plan) {
  PlannedUnit unit;
  unit.id = json.at("id");
  unit.inputs = json.at("inputs").get<std::vector<std::size_t>>();
  const bool is_usable = !unit.inputs.empty() && std::all_of(unit.inputs.begin(), unit.inputs.end(), [&](std::size_t input) {
    return input < plan.inputs.size() && plan.inputs[input].input.is_clip == json.contains("part");
  });
  if (!is_usable) {
    throw damagedJob(plan.folder, "a unit has unknown inputs");
  }
  if (json.contains("part")) {
    const Json& part = json.at("part");
    unit.part = {part.at("first"),   part.at("frames"),     part.at("first_time"),
                 part.at("warm_up"), part.at("begin_time"), part.at("begin_sha256")};
    constexpr std::int64_t kMostFrames = std::int64_t{1} << 40;
    if (unit.part.frames < 1 || unit.part.frames > kMostFrames || unit.part.warm_up < 0 || unit.part.first < unit.part.warm_up ||
        unit.part.first > kMostFrames) {
      throw damagedJob(plan.folder, "a unit has no frames that a clip may have");
    }
  }
  if (unit.id != idOf(plan, unit)) {
    throw damagedJob(plan.folder, "a unit is not what its id says");
  }
  return unit;
}

// Each frame of a clip, and each image, is in one unit.
void requireAllUnits(const Plan& plan) {
  std::vector<std::int64_t> frames(plan.inputs.size());
  std::vector<int> images(plan.inputs.size());
  for (const PlannedUnit& unit : plan.units) {
    for (const std::size_t input : unit.inputs) {
      ++images[input];
    }
    const std::size_t clip = unit.inputs.front();
    if (plan.inputs[clip].input.is_clip && (unit.inputs.size() != 1 || unit.part.first != frames[clip])) {
      throw damagedJob(plan.folder, "its units do not follow each other");
    }
    frames[clip] += unit.part.frames;
  }
  for (std::size_t input = 0; input < plan.inputs.size(); ++input) {
    const PlannedInput& planned = plan.inputs[input];
    const bool is_whole = planned.input.is_clip ? frames[input] == planned.frames : images[input] == 1;
    if (planned.failure.empty() && (!is_whole || images[input] == 0)) {
      throw damagedJob(plan.folder, "a unit is missing, or there twice");
    }
  }
}

std::string sumOf(const std::string& text) {
  base::Sha256 sum;
  sum.add({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  return sum.hexadecimal();
}

} // namespace

Error damagedJob(const fs::path& job, const std::string& why) {
  return {ErrorKind::kInputOutput,
          base::quotedPath(fileOf(job)) + " is damaged (" + base::oneLine(why) + "): plan the job anew in another folder"};
}

Json decisionsOf(const Recipe& recipe, const UnitRules& rules, const RestylerReport& report) {
  Json decisions = {{"version", VORIN_VERSION}, {"options", optionsJson(recipe)}};
  decisions["options"]["unit-length"] = rules.clip_s;
  decisions["options"]["unit-images"] = rules.images;
  decisions["device"] = {{"name", report.precision.empty() ? report.device : "software"},
                         {"precision", report.precision},
                         {"work-group edge", report.work_group_edge}};
  decisions["package"] = report.package.empty() ? "" : stateOf(report.package).sha256;
  decisions["style image"] = recipe.style_image.empty() ? "" : stateOf(recipe.style_image).sha256;
  return decisions;
}

std::string idOf(const Plan& plan, const PlannedUnit& unit) {
  constexpr std::size_t kDigits = 20;
  Json all = {{"decisions", plan.decisions}, {"inputs", Json::array()}};
  for (const std::size_t input : unit.inputs) {
    const PlannedInput& planned = plan.inputs[input];
    all["inputs"].push_back(
        {planned.file.sha256, base::lowerCaseExtension(planned.input.output), planned.input.is_clip, planned.is_damaged});
  }
  if (plan.inputs[unit.inputs.front()].input.is_clip) {
    all["part"] = jsonOf(unit.part);
  }
  return sumOf(all.dump()).substr(0, kDigits);
}

fs::path fileOf(const fs::path& job) {
  return job / "job.json";
}

void requireWritableName(const fs::path& file, const fs::path& job) {
  try {
    static_cast<void>(Json(pathText(file, job)).dump());
  } catch (const nlohmann::json::exception&) {
    throw Error(ErrorKind::kUsage, base::quotedPath(file) + " has a name that is not UTF-8, which a job cannot hold: rename it");
  }
}

void writePlan(const Plan& plan) {
  Json json = {{"vorin job", kFormat}, {"decisions", plan.decisions}};
  json["style image"] = plan.recipe.style_image.empty() ? "" : pathText(plan.recipe.style_image, plan.folder);
  json["models"] = plan.recipe.restyler.models.empty() ? "" : pathText(plan.recipe.restyler.models, plan.folder);
  json["overwrite"] = plan.recipe.sink.overwrite;
  json["inputs"] = Json::array();
  for (const PlannedInput& input : plan.inputs) {
    json["inputs"].push_back(jsonOf(input, plan.folder));
  }
  json["units"] = Json::array();
  for (const PlannedUnit& unit : plan.units) {
    Json entry = {{"id", unit.id}, {"inputs", unit.inputs}};
    if (plan.inputs[unit.inputs.front()].input.is_clip) {
      entry["part"] = jsonOf(unit.part);
    }
    json["units"].push_back(std::move(entry));
  }
  const std::string text = json.dump(1) + "\n";
  base::OutputFile file(fileOf(plan.folder), false);
  file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  file.commitDurably();
}

Plan parsePlan(const std::string& text, const fs::path& job) {
  try {
    const Json json = Json::parse(text);
    if (json.at("vorin job") != kFormat) {
      throw damagedJob(job, "another version of the program wrote it");
    }
    Plan plan;
    plan.folder = job;
    plan.decisions = json.at("decisions");
    plan.recipe = recipeIn(plan.decisions.at("options"), job);
    plan.recipe.style_image = pathIn(json.at("style image"), job);
    plan.recipe.restyler.models = pathIn(json.at("models"), job);
    plan.recipe.sink.overwrite = json.at("overwrite");
    const Json& device = plan.decisions.at("device");
    // Stand-ins that are active already are found as a GPU is.
    plan.recipe.restyler.device = device.at("name") == "software" && !standInsAreActive() ? Device::kSoftware : Device::kAuto;
    if (!device.at("precision").get<std::string>().empty()) {
      plan.recipe.restyler.precision = device.at("precision") == "bf16" ? Precision::kBf16 : Precision::kF32;
    }
    for (const Json& input : json.at("inputs")) {
      plan.inputs.push_back(inputIn(input, job));
    }
    for (const Json& unit : json.at("units")) {
      plan.units.push_back(unitIn(unit, plan));
    }
    requireAllUnits(plan);
    return plan;
  } catch (const nlohmann::json::exception& error) {
    throw damagedJob(job, error.what());
  }
}

Plan readPlan(const fs::path& job) {
  std::ifstream stream(fileOf(job), std::ios::binary);
  if (!stream) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(job) +
                                             " holds no job that can be read (there is no job.json): plan one "
                                             "with vorin-stylize job plan, or check the name");
  }
  return parsePlan({std::istreambuf_iterator<char>(stream), {}}, job);
}

} // namespace vorin::media::jobs
