// leftover_file.h: the unfinished file that goes when the process ends before its time.
#pragma once

#include <filesystem>

namespace vorin::tools {

// While it lives, an end of the process by exit, which a library below may call, removes the file. One at a time.
class RemovedAtExit {
public:
  explicit RemovedAtExit(const std::filesystem::path& file);
  ~RemovedAtExit();
  RemovedAtExit(const RemovedAtExit&) = delete;
  RemovedAtExit& operator=(const RemovedAtExit&) = delete;
};

// For an end without exit, in any thread at any moment, also in a signal's handler.
void removeLeftover();

} // namespace vorin::tools
