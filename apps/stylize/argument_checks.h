// argument_checks.h: from the values as typed to arguments that make sense together. Each fails with one line and the status for
// usage.
#pragma once

#include "arguments.h"
#include "exit_status.h"
#include "option_table.h"

namespace vorin::stylize {

Failure usage(const std::string& line);

// Of a drawing of photos or of a clip, or of a sheet.
Arguments checkedDrawing(const RawArguments& raw, Command command);

// Of info and selftest.
Arguments checkedInspection(const RawArguments& raw, Command command);

// The name of a picture to write.
void requirePictureName(const std::filesystem::path& output);

} // namespace vorin::stylize
