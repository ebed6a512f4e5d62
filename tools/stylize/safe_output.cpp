#include "safe_output.h"

#include "exit_status.h"
#include "new_file.h"
#include "output_path.h"
#include "utf8_path.h"

#include <cerrno>
#include <optional>
#include <string>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

Failure unwritable(const fs::path& output, const std::string& why) {
  return {ExitStatus::kInputOutput, "'" + tools::utf8Text(output) + "' " + why};
}

std::string errnoText() {
  return std::generic_category().message(errno);
}

fs::path resolved(const fs::path& output) {
  std::optional<fs::path> target = tools::resolvedOutput(output);
  if (!target) {
    throw unwritable(output, tools::kLeadsNowhere);
  }
  return *std::move(target);
}

} // namespace

SafeOutput::SafeOutput(const fs::path& output, bool overwrite)
    : output_(resolved(output)), overwrite_(overwrite), temporary_(tools::temporaryBeside(output_)),
      removed_when_cancelled_(temporary_) {
  if (const std::optional<std::string> reason = tools::reasonAgainst(output_, overwrite_)) {
    throw unwritable(output_, *reason);
  }
  file_.reset(tools::makeNewFile(temporary_));
  if (file_ == nullptr) {
    throw unwritable(output, "cannot be written (" + errnoText() + "): choose another folder");
  }
}

SafeOutput::~SafeOutput() {
  file_.reset();
  if (!committed_) {
    std::error_code ignored;
    fs::remove(temporary_, ignored);
  }
}

void SafeOutput::commit(std::span<const std::uint8_t> content) {
  const bool written =
      std::fwrite(content.data(), 1, content.size(), file_.get()) == content.size() && std::fflush(file_.get()) == 0;
  if (!written || std::fclose(file_.release()) != 0) {
    throw unwritable(output_, "cannot be written (" + errnoText() + "): make room or choose another folder");
  }
  if (const std::optional<std::string> reason = tools::moveIntoPlace(temporary_, output_, overwrite_)) {
    throw unwritable(output_, *reason);
  }
  committed_ = true;
}

} // namespace vorin::stylize
