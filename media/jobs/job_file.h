// job_file.h: a job's plan, as job.json holds it. All that decides the results is in one JSON object, "decisions", so that two
// plans can be compared and the difference named. Private to this folder.
#pragma once

#include "clip_units.h"
#include "recipe.h"

#include <nlohmann/json.hpp>

namespace vorin::media::jobs {

using Json = nlohmann::ordered_json;

// A file as it was when the job was planned.
struct FileState {
  std::uint64_t bytes = 0;
  std::int64_t modified_ns = 0; // tells without reading the file that it is probably the same
  std::string sha256;

  bool hasSizeAndTimeOf(const FileState& other) const { return bytes == other.bytes && modified_ns == other.modified_ns; }
};

struct PlannedInput {
  JobInput input;
  FileState file;
  std::string failure;           // not empty: why it has no units
  std::int64_t frames = 0;       // of a clip
  bool is_damaged = false;       // a clip that a decoder repairs: each unit decodes it from its begin
  std::vector<std::string> told; // of a clip: damage and warnings, for the user
};

struct PlannedUnit {
  std::string id;                  // a hash of all that decides its bytes
  std::vector<std::size_t> inputs; // one clip, or images
  ClipPart part;                   // of the clip

  std::int64_t frames(const std::vector<PlannedInput>& all) const {
    return all[inputs.front()].input.is_clip ? part.frames : static_cast<std::int64_t>(inputs.size());
  }
};

struct Plan { // NOLINT(bugprone-exception-escape): moving JSON does not throw
  std::filesystem::path folder;
  Json decisions;
  Recipe recipe;
  std::vector<PlannedInput> inputs;
  std::vector<PlannedUnit> units;
};

// What decides the results of a recipe here: the options, the version, the package, the device. Reads the package and the style
// image for their sums, and throws kInputOutput if it cannot.
Json decisionsOf(const Recipe& recipe, const UnitRules& rules, const RestylerReport& report);

// The first difference, for the user: "--style was pencil and is cartoon"; empty if there is none.
std::string differenceOf(const Json& planned, const Json& present);

std::string idOf(const Plan& plan, const PlannedUnit& unit);

std::filesystem::path fileOf(const std::filesystem::path& job); // job.json

// Throws kUsage for a name that JSON cannot hold.
void requireWritableName(const std::filesystem::path& file, const std::filesystem::path& job);

// Writes the plan, complete or not at all. The folder exists.
void writePlan(const Plan& plan);

// Reads the text of a job.json. Throws kInputOutput if it is damaged.
Plan parsePlan(const std::string& text, const std::filesystem::path& job);

// Throws kInputOutput for a folder without a job and for a damaged one.
Plan readPlan(const std::filesystem::path& job);

// The file's sum; empty if the hooks cancelled the reading.
std::string sumOfFile(const std::filesystem::path& file, std::uint64_t bytes, const JobHooks& hooks);

FileState sizeAndTimeOf(const std::filesystem::path& file); // without its sum

// The file's state now. known: with its sum, if the file seems unchanged since. The sum is empty if the hooks cancelled.
FileState stateOf(const std::filesystem::path& file, const JobHooks& hooks = {}, const FileState* known = nullptr);

// Throws kInputOutput if the file is no longer what was planned; notes its time, so that it is not read again. thoroughly: reads
// it even if its size and time are the same. Returns false if the hooks cancelled.
bool requireUnchanged(PlannedInput& input, bool thoroughly, const JobHooks& hooks);

Error damagedJob(const std::filesystem::path& job, const std::string& why);

} // namespace vorin::media::jobs
