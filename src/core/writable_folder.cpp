#include "core/writable_folder.h"

#include "core/log.h"
#include "platform/platform.h"

#include <optional>

namespace vorin {
namespace {

std::string below(const std::string& folder, const char* name) {
  return folder + platform::kPathSeparator + name;
}

bool isProvenWritable(const std::string& folder) {
  return platform::canCreateAndDelete(below(folder, "vorin989.tes"));
}

void makeIfMissing(const std::string& folder) {
  if (!platform::exists(folder) && !platform::makeFolder(folder)) {
    logTexts(sttLogError, "make dir failed: %s", {folder});
  }
}

std::optional<std::string> programFolder() {
  const std::optional<std::string> folder = platform::programFolderForFiles();
  return folder && isProvenWritable(*folder) ? folder : std::nullopt;
}

std::optional<std::string> applicationDataFolder() {
  const std::optional<std::string> data = platform::appDataFolderForFiles();
  if (!data || !isProvenWritable(*data)) {
    return std::nullopt;
  }
  const std::string vendor_folder = below(*data, "Merix");
  makeIfMissing(vendor_folder);
  const std::string folder = below(vendor_folder, "VORIN");
  makeIfMissing(folder);
  return folder;
}

std::string temporaryFolder() {
  for (;;) {
    std::optional<std::string> folder = platform::temporaryFolder();
    if (!folder) {
      makeIfMissing(platform::kLastResortFolder);
      return platform::kLastResortFolder;
    }
    if (isProvenWritable(*folder)) {
      return *folder;
    }
  }
}

std::string findWritableFolder() {
  if (const std::optional<std::string> folder = programFolder()) {
    return *folder;
  }
  if (const std::optional<std::string> folder = applicationDataFolder()) {
    return *folder;
  }
  return temporaryFolder();
}

} // namespace

std::string getWritableFolder() {
  std::string folder = findWritableFolder();
  logTexts(sttLogInfo, "getWritableFolder: %s", {folder});
  return folder;
}

} // namespace vorin
