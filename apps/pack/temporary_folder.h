// temporary_folder.h: a folder of this run's own for files on the way into or out of a package, removed at the end of the scope.
#pragma once

#include <filesystem>

namespace vorin::pack {

class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

} // namespace vorin::pack
