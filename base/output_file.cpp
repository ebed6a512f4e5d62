#include "output_file.h"

#include "files.h"
#include "processes.h"
#include "text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <random>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace vorin::base {

struct Unfinished {
  std::atomic<bool> is_taken = false;
  std::atomic<bool> is_set = false;
  std::filesystem::path::string_type file; // changed only by the one who took it, while is_set is false
};

namespace {

namespace fs = std::filesystem;

constexpr const char* kTemporaryBegin = ".vorin-";
constexpr const char* kTemporaryEnd = ".part";
constexpr const char* kExists = "exists: choose another name, or replace it with --overwrite";

Error failure(const fs::path& output, const std::string& why) {
  return {ErrorKind::kInputOutput, quotedPath(output) + " " + why};
}

Error unwritable(const fs::path& output, const std::string& what_to_do) {
  return failure(output, "cannot be written (" + std::generic_category().message(errno) + "): " + what_to_do);
}

// ---- checks of an output ----

fs::path folderOf(const fs::path& output) {
  return output.has_parent_path() ? output.parent_path() : fs::path(".");
}

// Names the uppermost faulty folder above the output: nothing below a file exists either.
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

// The file to write: the output itself, or the target of a link.
fs::path checkedOutput(const fs::path& output, bool overwrite) {
  std::error_code error;
  fs::path target = output;
  if (fs::is_symlink(output, error)) {
    target = fs::canonical(output, error);
    if (error) {
      throw failure(output, "is a link that leads nowhere: remove it or choose another name");
    }
  }
  if (const std::optional<std::string> reason = reasonAgainst(target, overwrite)) {
    throw failure(output, *reason);
  }
  return target;
}

// Gives the file its final name unless that is taken: makes a hard link, which fails if the name exists, then removes the first
// name. Returns false if the name is taken.
bool renameToNew(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_hard_link(from, to, error);
  if (!error) {
    removeAll(from, error);
    return true;
  }
  // Some file systems have no hard links: there, checking before the rename must do.
  if (error == std::errc::file_exists || fs::exists(to)) {
    return false;
  }
  renameFile(from, to, error);
  if (error) {
    throw fs::filesystem_error("rename", from, to, error);
  }
  return true;
}

// ---- the files to delete when the process ends early ----

std::array<Unfinished, 64> all_unfinished;
std::atomic<bool> removal_has_begun = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

// Stops a thread that would change the name while another one uses it, or make a file after the removal: the process is ending.
void standStillOnceRemovalHasBegun() {
  while (removal_has_begun) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

std::atomic<int> writing_process = 0; // a process that is forked from it knows the same names

extern "C" void removeUnfinishedFilesAtExit() {
  if (processId() == writing_process) {
    removeUnfinishedFiles();
  }
}

Unfinished* take(const fs::path& file) {
  static const int registered = std::atexit(removeUnfinishedFilesAtExit);
  static_cast<void>(registered);
  writing_process = processId();
  const auto free =
      std::find_if(all_unfinished.begin(), all_unfinished.end(), [](Unfinished& each) { return !each.is_taken.exchange(true); });
  if (free == all_unfinished.end()) {
    return nullptr;
  }
  free->file = file.native();
  free->is_set = true;
  return &*free;
}

} // namespace

void removeUnfinishedFiles() {
  removal_has_begun = true;
  for (const Unfinished& each : all_unfinished) {
    if (each.is_set) {
      removeFile(each.file.c_str());
    }
  }
}

TemporaryOutput::TemporaryOutput(const fs::path& output, bool overwrite)
    : output_(checkedOutput(output, overwrite)), overwrite_(overwrite),
      temporary_(folderOf(output_) / randomName(kTemporaryBegin, kTemporaryEnd)), unfinished_(take(temporary_)) {
  standStillOnceRemovalHasBegun();
}

TemporaryOutput::~TemporaryOutput() {
  std::error_code ignored;
  removeAll(temporary_, ignored);
  if (unfinished_ != nullptr) {
    unfinished_->is_set = false;
    standStillOnceRemovalHasBegun();
    unfinished_->is_taken = false;
  }
}

void TemporaryOutput::commit() {
  try {
    if (overwrite_) {
      std::error_code error;
      renameFile(temporary_, output_, error);
      if (error) {
        throw fs::filesystem_error("rename", error);
      }
    } else if (!renameToNew(temporary_, output_)) {
      throw failure(output_, kExists);
    }
  } catch (const fs::filesystem_error& error) {
    throw failure(output_, "cannot be written (" + error.code().message() + "): choose another name");
  }
}

OutputFile::OutputFile(const fs::path& output, bool overwrite)
    : output_(output), temporary_(output, overwrite), file_(makeNewFile(temporary_.path())) {
  if (file_ == nullptr) {
    throw unwritable(output_, "choose another folder");
  }
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
    throw unwritable(output_, "make room or choose another folder");
  }
}

void OutputFile::commit() {
  if (std::fflush(file_.get()) != 0 || std::fclose(file_.release()) != 0) {
    throw unwritable(output_, "make room or choose another folder");
  }
  temporary_.commit();
}

void OutputFile::commitDurably() {
  if (std::fflush(file_.get()) != 0 || !makeDurable(file_.get())) {
    throw unwritable(output_, "make room or choose another folder");
  }
  commit();
}

void requireWritable(const fs::path& output, bool overwrite) {
  static_cast<void>(checkedOutput(output, overwrite));
}

void removeTemporariesIn(const fs::path& folder, std::chrono::hours untouched_for) {
  std::error_code error;
  std::vector<fs::path> leftovers;
  const fs::file_time_type latest = fs::file_time_type::clock::now() - untouched_for;
  for (fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = utf8Text(entry->path().filename());
    if (name.size() == randomName(kTemporaryBegin, kTemporaryEnd).size() && name.starts_with(kTemporaryBegin) &&
        name.ends_with(kTemporaryEnd)) {
      leftovers.push_back(entry->path());
    }
  }
  for (const fs::path& leftover : leftovers) {
    const fs::file_time_type written = fs::last_write_time(leftover, error);
    if (!error && written <= latest) {
      fs::remove(leftover, error);
    }
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
