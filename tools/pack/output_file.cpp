#include "output_file.h"

#include "entry_name.h"
#include "failure.h"

#include <cerrno>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

Failure unwritable(const fs::path& output, const std::string& why) {
  return Failure(quotedPath(output) + " " + why);
}

Failure existing(const fs::path& output) {
  return unwritable(output, "exists: choose another name, or replace it with --overwrite");
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
    throw existing(to);
  }
  fs::rename(from, to);
}

} // namespace

std::string randomName(const std::string& before, const std::string& after) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device random;
  std::string name = before;
  for (int digit = 0; digit < 16; ++digit) {
    name += kDigits[random() % kDigits.size()];
  }
  return name + after;
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
    throw existing(output);
  }
  requireFolder(output);
}

OutputFile::OutputFile(const fs::path& output, bool overwrite)
    : output_(resolved(output)), overwrite_(overwrite), temporary_(folderOf(output_) / randomName(".vorin-", ".part")) {
  requireWritable(output_, overwrite_);
  file_.reset(std::fopen(temporary_.string().c_str(), "wbx"));
  if (file_ == nullptr) {
    throw unwritable(output, "cannot be written (" + errnoText() + "): choose another folder");
  }
}

OutputFile::~OutputFile() {
  if (file_ != nullptr) {
    file_.reset();
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
  if (std::fflush(file_.get()) != 0) {
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
  file_.reset(); // nothing left to remove
}

} // namespace vorin::pack
