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

// Restyles the inputs that are not skipped, with progress, and stores the outcome in their results. Throws if cancelled.
void restyleEach(const Options& options, media::Restyling& restyling, std::vector<InputResult>& results);

} // namespace vorin::stylize
