// many_inputs.h: restyles a list of inputs, one after the other: the next is opened, and the image before encoded, meanwhile.
#pragma once

#include "recipe.h"

#include <filesystem>
#include <vector>

namespace vorin::stylize {

struct InputResult;
struct Options;

// Makes the folder and those above it. Throws kInputOutput.
void makeFolder(const std::filesystem::path& folder);

// Lists the inputs of the options and where their results go in the folder. No input has been opened yet. Throws kUsage for
// results that would lie among the inputs or have one name.
std::vector<InputResult> planMany(const Options& options);

// Restyles a clip as a job in a folder beside its output, where an earlier run may have begun, and stores the outcome in the
// result. progress: of frames; null: none.
void resumeClip(const Options& options, InputResult& result, bool with_progress);

// Removes what is left of that folder, once the output is there.
void removeJobOf(const std::filesystem::path& output);

// Restyles the inputs that are not skipped, with progress, and stores the outcome in their results. Throws if cancelled.
void restyleEach(const Options& options, media::Restyling& restyling, std::vector<InputResult>& results);

} // namespace vorin::stylize
