// output_file.h: an output file, written piece by piece, that is either all there or not there. Whatever ends the work early (a
// failure, an exception, cancellation, a library that ends the process) removes the temporary file that the pieces go into.
#pragma once

#include "unfinished_file.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

namespace vorin::base {

// One at a time. Throws an OutputError where the file cannot be written.
class OutputFile {
public:
  // Refuses an existing output unless overwrite is set, and anything there that is no regular file. The temporary is made here,
  // so that a folder that cannot be written to shows before any work is done.
  OutputFile(const std::filesystem::path& output, bool overwrite);

  void write(std::span<const std::uint8_t> bytes);

  // Gives the file its name; nothing may be written after that. Without overwrite, an output that another program made meanwhile
  // stays.
  void commit();

private:
  struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::filesystem::path output_;
  bool overwrite_;
  UnfinishedFile temporary_;
  std::unique_ptr<std::FILE, FileCloser> file_;
};

} // namespace vorin::base
