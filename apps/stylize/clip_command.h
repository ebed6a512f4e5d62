// clip_command.h: clips and pipes of frames instead of photos, where the program is built with them (media).
//
// Whether the input is a clip shows by the output: it has a clip's file extension, or it is a pipe.
#pragma once

#include "arguments.h"
#include "option_table.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorin::stylize {

// As input or output: a standard stream with frames.
constexpr std::string_view kPipe = "-";

// Where there are no clips: false.
bool isClip(const std::string& input, const std::string& output);

// ".mp4, ..."; empty where there are no clips.
std::string clipExtensions();

// For the help, below the options.
extern const char* const kClipFooter;

// The options that only clips have, as rows of the option table; and their values, checked as far as that goes without a file.
std::vector<OptionRow> clipOptionRows();
ClipOptions checkedClipOptions(const RawArguments& raw);

ExitStatus stylizeClip(const Arguments& arguments);

} // namespace vorin::stylize
