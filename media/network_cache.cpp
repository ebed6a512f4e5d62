// Keeps the folders of unpacked and compiled networks small. The library adds a compiled network for each device, style and size
// of picture, and removes none.
#include "files.h"
#include "library_copy.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <vector>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCompiledFolder = "cache"; // the library's name for it

struct Compiled {
  fs::path file;
  std::uintmax_t bytes;
  fs::file_time_type last_use;
};

// None where the folder is a link, which the library does not follow either.
std::vector<Compiled> compiledNetworks(const fs::path& folder) {
  std::vector<Compiled> found;
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(folder, error))) {
    return found;
  }
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    const std::uintmax_t bytes = entry->file_size(ignored);
    if (!ignored && entry->is_regular_file(ignored) && entry->path().extension() == ".blob") {
      found.push_back({entry->path(), bytes, base::lastUse(entry->path())});
    }
  }
  return found;
}

} // namespace

NetworkCache networkCache() {
  NetworkCache cache = {writableFolder() / kCompiledFolder, 0, 0};
  for (const Compiled& each : compiledNetworks(cache.folder)) {
    cache.bytes += each.bytes;
    ++cache.networks;
  }
  return cache;
}

void boundNetworkCache(std::uintmax_t most_bytes) {
  std::vector<Compiled> networks = compiledNetworks(writableFolder() / kCompiledFolder);
  std::sort(networks.begin(), networks.end(), [](const Compiled& a, const Compiled& b) { return a.last_use > b.last_use; });
  std::uintmax_t bytes = 0;
  for (const Compiled& each : networks) {
    std::error_code ignored;
    bytes += each.bytes;
    if (bytes > most_bytes) {
      fs::remove(each.file, ignored);
    } else if (each.last_use > fs::last_write_time(each.file, ignored)) {
      // Many systems note when a file is read only if it was written since they did so last.
      fs::last_write_time(each.file, each.last_use, ignored);
    }
  }
}

void requireRoomForNetwork(std::uintmax_t bytes) {
  const fs::path folder = writableFolder();
  constexpr std::uintmax_t kSpareBytes = std::uintmax_t{1} << 20;
  const std::uintmax_t needed_bytes = 2 * bytes + kSpareBytes; // unpacked, and compiled
  std::error_code error;
  const fs::space_info space = fs::space(folder, error);
  if (!error && space.available < needed_bytes) {
    throw Error(ErrorKind::kInputOutput, base::quotedPath(folder) + " has room for " + std::to_string(space.available) +
                                             " bytes, and a network needs " + std::to_string(needed_bytes) +
                                             " there: make room on its disk");
  }
}

void LibraryCopy::keepCompiled(bool is_kept) const {
  fs::path folder = writableFolder();
  if (!is_kept) {
    folder /= "uncached";
    std::error_code ignored;
    fs::create_directory(folder, ignored);
    std::ofstream(folder / kCompiledFolder, std::ios::app).close(); // the library keeps none if this is not a folder
  }
  functions_.set_folder(base::narrowText(folder).value_or("").c_str());
}

} // namespace vorin::media
