#include "leftover_file.h"

#include "new_file.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace vorin::tools {
namespace {

std::filesystem::path::string_type leftover; // changed only while leftover_is_set is false
std::atomic<bool> leftover_is_set = false;
std::atomic<bool> removal_has_begun = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

// The process ends under a thread that would change the name while another one uses it, or make a file after the removal.
void standStillOnceRemovalHasBegun() {
  while (removal_has_begun) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

extern "C" void removeLeftoverAtExit() {
  removeLeftover();
}

} // namespace

void removeLeftover() {
  removal_has_begun = true;
  if (leftover_is_set) {
    removeFile(leftover.c_str());
  }
}

RemovedAtExit::RemovedAtExit(const std::filesystem::path& file) {
  static const int registered = std::atexit(removeLeftoverAtExit);
  static_cast<void>(registered);
  leftover = file.native();
  leftover_is_set = true;
  standStillOnceRemovalHasBegun();
}

RemovedAtExit::~RemovedAtExit() {
  leftover_is_set = false;
  standStillOnceRemovalHasBegun();
}

} // namespace vorin::tools
