#include "output_path.h"

#include "quoted_name.h"
#include "utf8_path.h"

#include <optional>
#include <random>
#include <string_view>
#include <system_error>
#include <vector>

namespace vorin::base {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTemporaryBegin = ".vorin-";
constexpr const char* kTemporaryEnd = ".part";
constexpr const char* kExists = "exists: choose another name, or replace it with --overwrite";

fs::path folderOf(const fs::path& output) {
  return output.has_parent_path() ? output.parent_path() : fs::path(".");
}

// Of the folders above the output, the uppermost one at fault is named: what lies below a file does not exist either.
std::optional<std::string> reasonAgainstFolder(const fs::path& folder) {
  std::error_code error;
  fs::path upper;
  for (const fs::path& part : folder) {
    upper /= part;
    const fs::file_status status = fs::status(upper, error);
    if (fs::exists(status) && !fs::is_directory(status)) {
      return "cannot be written: " + quotedPath(upper) + " is not a folder: choose another one";
    }
  }
  if (!fs::is_directory(folder, error)) {
    return "cannot be written: the folder " + quotedPath(folder) + " does not exist: make it first";
  }
  return std::nullopt;
}

// Gives the file its final name unless that name is taken: a second name that must be new, then the first one removed. False when
// it is taken.
bool renameToNew(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_hard_link(from, to, error);
  if (!error) {
    fs::remove(from, error);
    return true;
  }
  // Some file systems know no second names: there the look before the renaming must do.
  if (error == std::errc::file_exists || fs::exists(to)) {
    return false;
  }
  fs::rename(from, to);
  return true;
}

std::optional<std::string> reasonAgainst(const fs::path& output, bool overwrite) {
  std::error_code error;
  const fs::file_status status = fs::status(output, error);
  if (fs::is_directory(status)) {
    return "is a folder: name a file in it";
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    return "is not a file that can be replaced: choose another name";
  }
  if (fs::exists(status) && !overwrite) {
    return kExists;
  }
  return reasonAgainstFolder(folderOf(output));
}

} // namespace

OutputError::OutputError(const fs::path& output, const std::string& why) : std::runtime_error(quotedPath(output) + " " + why) {}

fs::path checkedOutput(const fs::path& output, bool overwrite) {
  std::error_code error;
  fs::path target = output;
  if (fs::is_symlink(output, error)) {
    target = fs::canonical(output, error);
    if (error) {
      throw OutputError(output, "is a link that leads nowhere: remove it or choose another name");
    }
  }
  if (const std::optional<std::string> reason = reasonAgainst(target, overwrite)) {
    throw OutputError(output, *reason);
  }
  return target;
}

void requireWritable(const fs::path& output, bool overwrite) {
  static_cast<void>(checkedOutput(output, overwrite));
}

fs::path temporaryBeside(const fs::path& output) {
  return folderOf(output) / randomName(kTemporaryBegin, kTemporaryEnd);
}

void removeTemporariesIn(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> leftovers;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = utf8Text(entry->path().filename());
    if (name.size() == randomName(kTemporaryBegin, kTemporaryEnd).size() && name.starts_with(kTemporaryBegin) &&
        name.ends_with(kTemporaryEnd)) {
      leftovers.push_back(entry->path());
    }
  }
  for (const fs::path& leftover : leftovers) {
    fs::remove(leftover, error);
  }
}

void moveIntoPlace(const fs::path& temporary, const fs::path& output, bool overwrite) {
  try {
    if (overwrite) {
      fs::rename(temporary, output);
    } else if (!renameToNew(temporary, output)) {
      throw OutputError(output, kExists);
    }
  } catch (const fs::filesystem_error& error) {
    throw OutputError(output, "cannot be written (" + error.code().message() + "): choose another name");
  }
}

std::string randomName(const std::string& before, const std::string& after) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device random;
  std::string name = before;
  for (int digit = 0; digit < 16; ++digit) {
    name += kDigits[random() % kDigits.size()];
  }
  return name + after;
}

} // namespace vorin::base
