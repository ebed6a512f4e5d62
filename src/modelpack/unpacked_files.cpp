#include "modelpack/unpacked_files.h"

#include "core/log.h"
#include "core/writable_folder.h"
#include "modelpack/model_package_reader.h"
#include "platform/platform.h"

#include <cstdio>

namespace vorin::modelpack {

std::string UnpackModelFile(UnpackedFiles& unpackedFiles, const std::wstring& package_path, const std::string& entry_name) {
  const std::size_t last_separator = entry_name.rfind(platform::kPathSeparator);
  const std::string base = last_separator == std::string::npos ? entry_name : entry_name.substr(last_separator);
  std::string target = getWritableFolder() + platform::kPathSeparator + base;
  if (ModelPackageReader(package_path, entry_name, target) != PackageStatus::kWritten) {
    const std::string last_resort = platform::kLastResortFolder;
    if (!platform::exists(last_resort) && !platform::makeFolder(last_resort)) {
      sttLogError("create model file dir failed.");
      return {};
    }
    target = last_resort + base;
    if (ModelPackageReader(package_path, entry_name, target) != PackageStatus::kWritten) {
      sttLogError("unpack file failed.");
      return {};
    }
  }
  unpackedFiles.push_back(target);
  return target;
}

void DeleteUnpackedFiles(UnpackedFiles& unpackedFiles) {
  for (const std::string& path : unpackedFiles) {
    if (std::remove(path.c_str()) == 0) {
      logTexts(sttLogVerbose, "del %s success", {path});
    } else {
      logTexts(sttLogVerbose, "del %s fail", {path});
    }
  }
  unpackedFiles.clear();
}

} // namespace vorin::modelpack
