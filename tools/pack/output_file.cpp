#include "output_file.h"

#include "entry_name.h"
#include "failure.h"
#include "new_file.h"
#include "output_path.h"

#include <cerrno>
#include <optional>
#include <string>
#include <system_error>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

Failure unwritable(const fs::path& output, const std::string& why) {
  return Failure(quotedPath(output) + " " + why);
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

void requireWritable(const fs::path& output, bool overwrite) {
  if (const std::optional<std::string> reason = tools::reasonAgainst(output, overwrite)) {
    throw unwritable(output, *reason);
  }
}

OutputFile::OutputFile(const fs::path& output, bool overwrite)
    : output_(resolved(output)), overwrite_(overwrite), temporary_(tools::temporaryBeside(output_)) {
  requireWritable(output_, overwrite_);
  file_.reset(tools::makeNewFile(temporary_));
  if (file_ == nullptr) {
    throw unwritable(output, "cannot be written (" + errnoText() + "): choose another folder");
  }
}

OutputFile::~OutputFile() {
  file_.reset();
  if (!committed_) {
    std::error_code ignored;
    fs::remove(temporary_, ignored);
  }
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
    throw unwritable(output_, "cannot be written (" + errnoText() + "): make room or choose another folder");
  }
}

void OutputFile::commit() {
  // Closed before it is renamed: Windows does not rename an open file.
  if (std::fflush(file_.get()) != 0 || std::fclose(file_.release()) != 0) {
    throw unwritable(output_, "cannot be written (" + errnoText() + "): make room or choose another folder");
  }
  if (const std::optional<std::string> reason = tools::moveIntoPlace(temporary_, output_, overwrite_)) {
    throw unwritable(output_, *reason);
  }
  committed_ = true;
}

} // namespace vorin::pack
