// unfinished_file.h: the file in the making that goes when the work ends before its time.
#pragma once

#include <filesystem>

namespace vorin::base {

// The name of a file in the making. Its end removes the file, unless that has got another name by then, and so does, while it
// lives, an end of the process by exit, which a library below may call. One at a time, made before its file.
class UnfinishedFile {
public:
  explicit UnfinishedFile(std::filesystem::path path);
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

// For an end without exit, in any thread at any moment, also in a signal's handler.
void removeUnfinishedFile();

} // namespace vorin::base
