// Clips are not part of the program for Windows.
#include "../clip_command.h"

#include "../exit_status.h"

namespace vorin::stylize {

const char* const kClipFooter = "";

bool isClip(const std::string& /*input*/, const std::string& /*output*/) {
  return false;
}

std::string clipExtensions() {
  return {};
}

std::vector<OptionRow> clipOptionRows() {
  return {};
}

ClipOptions checkedClipOptions(const RawArguments& /*raw*/) {
  return {};
}

ExitStatus stylizeClip(const Arguments& /*arguments*/) {
  return ExitStatus::kUsage;
}

} // namespace vorin::stylize
