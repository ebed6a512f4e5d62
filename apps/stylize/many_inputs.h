// many_inputs.h: restyles a list of inputs, one after the other: the next is opened, and the image before encoded, meanwhile.
#pragma once

#include "report.h"

namespace vorin::stylize {

struct Options;
class Restyling;

// Makes the folder and those above it. Throws kInputOutput.
void makeFolder(const std::filesystem::path& folder);

std::size_t count(const std::vector<InputResult>& results, InputResult::Outcome outcome);

// "images", or "files" if there are clips among them.
std::string unitOf(const std::vector<InputResult>& results);

// Restyles the inputs that are not skipped, with progress, and stores the outcome in their results. Throws if cancelled.
void restyleEach(const Options& options, Restyling& restyling, std::vector<InputResult>& results);

} // namespace vorin::stylize
