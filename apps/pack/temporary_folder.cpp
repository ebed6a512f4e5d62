#include "temporary_folder.h"

#include "failure.h"
#include "output_path.h"

#include <system_error>

namespace vorin::pack {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::error_code error;
  const fs::path folder = fs::temp_directory_path(error);
  path_ = folder / base::randomName("vorin-pack-", "");
  if (error || !fs::create_directory(path_, error)) {
    throw Failure("no folder for temporary files (" + error.message() +
                  "): name one in the environment variable TMPDIR (TMP on Windows)");
  }
  fs::permissions(path_, fs::perms::owner_all, error); // networks may be private
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

} // namespace vorin::pack
