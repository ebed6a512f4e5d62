#include "safe_output.h"

#include "exit_status.h"
#include "new_file.h"

#include <cerrno>
#include <random>
#include <string>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

Failure unwritable(const fs::path& output, const std::string& why) {
  return {ExitStatus::kInputOutput, "'" + output.string() + "' " + why};
}

std::string errnoText() {
  return std::generic_category().message(errno);
}

// A link as output stays a link: what it points to is replaced.
fs::path resolved(const fs::path& output) {
  std::error_code error;
  if (!fs::is_symlink(output, error)) {
    return output;
  }
  fs::path target = fs::canonical(output, error);
  if (error) {
    throw unwritable(output, "is a link that leads nowhere: remove it or choose another name");
  }
  return target;
}

fs::path folderOf(const fs::path& output) {
  return output.has_parent_path() ? output.parent_path() : fs::path(".");
}

// Of the folders above the output, the uppermost one at fault is named: what lies below a file does not exist either.
void requireFolder(const fs::path& output) {
  std::error_code error;
  fs::path upper;
  for (const fs::path& part : folderOf(output)) {
    upper /= part;
    const fs::file_status status = fs::status(upper, error);
    if (fs::exists(status) && !fs::is_directory(status)) {
      throw unwritable(output, "cannot be written: '" + upper.string() + "' is not a folder: choose another one");
    }
  }
  if (!fs::is_directory(folderOf(output), error)) {
    throw unwritable(output, "cannot be written: the folder '" + folderOf(output).string() + "' does not exist: make it first");
  }
}

void requireWritable(const fs::path& output, bool overwrite) {
  std::error_code error;
  const fs::file_status status = fs::status(output, error);
  if (fs::is_directory(status)) {
    throw unwritable(output, "is a folder: name a file in it");
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw unwritable(output, "is not a file that can be replaced: choose another name");
  }
  if (fs::exists(status) && !overwrite) {
    throw unwritable(output, "exists: choose another name, or replace it with --overwrite");
  }
  requireFolder(output);
}

fs::path temporaryBeside(const fs::path& output) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device random;
  std::string name = ".vorin-";
  for (int i = 0; i < 16; ++i) {
    name += kDigits[random() % kDigits.size()];
  }
  return folderOf(output) / (name + ".part");
}

// Gives the file its final name unless that name is taken: a second name that must be new, then the first one removed.
void renameToNew(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_hard_link(from, to, error);
  if (!error) {
    fs::remove(from, error);
    return;
  }
  // Some file systems know no second names: there the look before the renaming must do.
  if (error == std::errc::file_exists || fs::exists(to)) {
    throw unwritable(to, "exists: choose another name, or replace it with --overwrite");
  }
  fs::rename(from, to);
}

} // namespace

SafeOutput::SafeOutput(const fs::path& output, bool overwrite)
    : output_(resolved(output)), overwrite_(overwrite), temporary_(temporaryBeside(output_)),
      removed_when_cancelled_(temporary_) {
  requireWritable(output_, overwrite_);
  file_.reset(makeNewFile(temporary_));
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
  try {
    if (overwrite_) {
      fs::rename(temporary_, output_);
    } else {
      renameToNew(temporary_, output_);
    }
  } catch (const fs::filesystem_error& error) {
    throw unwritable(output_, "cannot be written (" + error.code().message() + "): choose another name");
  }
  committed_ = true;
}

} // namespace vorin::stylize
