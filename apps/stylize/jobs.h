// jobs.h: what the commands for jobs share: progress, and where a job stands as text and JSON.
#pragma once

#include "vorin_jobs.hpp"

#include <nlohmann/json_fwd.hpp>

namespace vorin::stylize {

class Progress;
enum class ProgressKind;
struct Options;

ProgressKind kindFor(const Options& options);

// Hooks that show progress, which must outlive them, and print lines above it.
media::JobHooks hooksFor(Progress& progress);

std::string stateText(media::JobState::UnitState state); // "open", "running", ...

// "5 of 12 units done, 1 running; 250 of 600 frames".
std::string summary(const media::JobState& state);

nlohmann::ordered_json jsonOf(const media::JobState& state);

} // namespace vorin::stylize
