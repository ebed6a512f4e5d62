#include "extraction.h"

#include "entry_name.h"
#include "failure.h"
#include "output_file.h"
#include "output_path.h"
#include "package_directory.h"
#include "utf8_path.h"

#include <set>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

Failure unreadable(const fs::path& package, const std::string& why) {
  return Failure(quotedPath(package) + ": " + why);
}

std::vector<PackageEntry> wantedEntries(const fs::path& package, const std::vector<std::string>& entry_names) {
  const PackageDirectory directory = readPackageDirectory(package);
  if (entry_names.empty()) {
    const std::vector<std::string> problems = directory.problems();
    if (!problems.empty()) {
      throw unreadable(package, problems.front() + ", or name the entries that you want");
    }
    return directory.entries;
  }
  std::vector<PackageEntry> wanted;
  for (const std::string& name : std::set<std::string>(entry_names.begin(), entry_names.end())) {
    const PackageEntry* entry = directory.find(name);
    if (entry == nullptr) {
      throw unreadable(package, "there is no entry " + quoted(name) + ": see vorin-pack list");
    }
    if (!entry->problem.empty()) {
      throw unreadable(package, "entry " + quoted(name) + " " + entry->problem);
    }
    wanted.push_back(*entry);
  }
  return wanted;
}

void makeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (!fs::is_directory(folder)) {
    throw Failure(quotedPath(folder) + " is no folder and cannot be made one: choose another with -o");
  }
}

} // namespace

std::size_t extractEntries(const fs::path& package, const std::vector<std::string>& entry_names, const fs::path& folder,
                           bool overwrite) {
  const std::vector<PackageEntry> entries = wantedEntries(package, entry_names);
  for (const PackageEntry& entry : entries) {
    const std::string reason = unusableAsFileName(entry.name);
    if (!reason.empty()) {
      throw unreadable(package,
                       "the name of entry " + quoted(entry.name) + " " + reason + ", so it is not extracted: name the others");
    }
  }
  makeFolder(folder);
  for (const PackageEntry& entry : entries) {
    base::requireWritable(folder / base::pathFromUtf8(entry.name), overwrite);
  }
  for (const PackageEntry& entry : entries) {
    base::OutputFile output(folder / base::pathFromUtf8(entry.name), overwrite);
    readEntry(package, entry, [&](std::span<const std::uint8_t> bytes) { output.write(bytes); });
    output.commit();
  }
  return entries.size();
}

} // namespace vorin::pack
