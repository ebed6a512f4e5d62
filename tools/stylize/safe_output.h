// safe_output.h: an output file, written in one piece, that is either all there or not there. Whatever ends the work early (a
// failure, an exception, cancellation) removes the temporary file that the piece goes into.
#pragma once

#include "cancellation.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

namespace vorin::stylize {

class SafeOutput {
public:
  // Refuses an existing output unless overwrite is set, and anything there that is no regular file. The temporary is made here,
  // so that a folder that cannot be written to shows before any work is done.
  SafeOutput(const std::filesystem::path& output, bool overwrite);
  ~SafeOutput();
  SafeOutput(const SafeOutput&) = delete;
  SafeOutput& operator=(const SafeOutput&) = delete;

  // Writes the whole content and gives it its name. Without overwrite, an output that another program made meanwhile stays.
  void commit(std::span<const std::uint8_t> content);

private:
  struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::filesystem::path output_;
  bool overwrite_;
  std::filesystem::path temporary_;
  RemovedWhenCancelled removed_when_cancelled_; // before the file is made: no moment without it
  std::unique_ptr<std::FILE, FileCloser> file_;
  bool committed_ = false;
};

} // namespace vorin::stylize
