#include "unfinished_file.h"

#include "new_file.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

namespace vorin::base {
namespace {

std::filesystem::path::string_type unfinished; // changed only while unfinished_is_set is false
std::atomic<bool> unfinished_is_set = false;
std::atomic<bool> removal_has_begun = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

// The process ends under a thread that would change the name while another one uses it, or make a file after the removal.
void standStillOnceRemovalHasBegun() {
  while (removal_has_begun) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

extern "C" void removeUnfinishedFileAtExit() {
  removeUnfinishedFile();
}

} // namespace

void removeUnfinishedFile() {
  removal_has_begun = true;
  if (unfinished_is_set) {
    removeFile(unfinished.c_str());
  }
}

UnfinishedFile::UnfinishedFile(std::filesystem::path path) : path_(std::move(path)) {
  static const int registered = std::atexit(removeUnfinishedFileAtExit);
  static_cast<void>(registered);
  unfinished = path_.native();
  unfinished_is_set = true;
  standStillOnceRemovalHasBegun();
}

UnfinishedFile::~UnfinishedFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
  unfinished_is_set = false;
  standStillOnceRemovalHasBegun();
}

} // namespace vorin::base
