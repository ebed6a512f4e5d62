#include "model_package.h"

#include "files.h"
#include "modelpack/model_package_format.h"
#include "text.h"

#include <algorithm>
#include <array>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 5> kStyleNames = {"transfer", "lightgrey", "cartoon", "stipple", "pencil"};

Error unusable(const std::string& line) {
  return {ErrorKind::kModel, line};
}

fs::path findFolder(const fs::path& named) {
  std::error_code error;
  if (!named.empty()) {
    if (!fs::is_directory(named, error)) {
      throw unusable("--models " + base::quotedPath(named) + " is not a folder: name the one that holds " +
                     modelpack::kPackageFileName);
    }
    return named;
  }
  const fs::path program = base::programFolder();
  const fs::path above = program.parent_path();
  for (const fs::path& folder : {program, program / "models", above / "models", above / "share/vorin-stt/models"}) {
    if (fs::exists(folder / modelpack::kPackageFileName, error)) {
      return folder;
    }
  }
  throw unusable(
      "no model package found: build one with models/build or vorin-pack, and name its folder with --models unless it is "
      "the program's own");
}

modelpack::PackageDirectory readDirectory(const fs::path& package) {
  std::error_code error;
  if (!fs::is_regular_file(package, error)) {
    throw unusable(base::quotedPath(package) + (fs::exists(package, error) ? " is not a file" : " does not exist") +
                   ": build it with models/build or vorin-pack, or name another folder with --models");
  }
  modelpack::PackageDirectory directory = modelpack::readPackageDirectory(package);
  const bool is_sound = directory.problem.empty() && std::all_of(directory.entries.begin(), directory.entries.end(),
                                                                 [](const auto& entry) { return entry.problem.empty(); });
  if (!is_sound) {
    throw unusable(base::quotedPath(package) +
                   " is not a complete model package: copy or build it again ('vorin-pack list' shows what is wrong)");
  }
  return directory;
}

std::string libraryFolderOf(const fs::path& folder, const fs::path& file) {
  fs::path library_folder = folder;
  if (!base::isWritable(folder)) { // an installed package's folder usually is not
    const std::optional<fs::path> own = base::folderOfLinkTo(file);
    if (!own) {
      throw unusable("the folder " + base::quotedPath(folder) +
                     " is not writable, and the library refuses such a folder: change its permissions, or copy " +
                     modelpack::kPackageFileName + " elsewhere and name that folder with --models");
    }
    library_folder = *own;
  }
  std::optional<std::string> text = base::narrowText(library_folder);
  if (!text) {
    throw unusable("the folder " + base::quotedPath(library_folder) +
                   " has characters in its name that the library cannot use on this system: copy " + modelpack::kPackageFileName +
                   " to a folder with a plain name and name that one with --models");
  }
  return *std::move(text);
}

std::string checkAdvice(const fs::path& file) {
  return ": see what vorin-pack verify " + base::quotedPath(file) + " finds, or try --device software";
}

} // namespace

std::span<const modelpack::NamedNetwork> networksOf(Style style) {
  const std::span<const modelpack::NamedNetwork> all = modelpack::kNetworks;
  const auto is_of = [&](const modelpack::NamedNetwork& network) { return network.style_type == static_cast<int>(style); };
  const auto first = std::find_if(all.begin(), all.end(), is_of);
  return {first, std::find_if_not(first, all.end(), is_of)};
}

std::string_view nameOf(Style style) {
  return kStyleNames.at(static_cast<std::size_t>(style));
}

const modelpack::NamedNetwork& networkOf(Style style, const std::string& name) {
  const auto networks = networksOf(style);
  const auto found = std::find_if(networks.begin(), networks.end(), [&](const modelpack::NamedNetwork& network) {
    return name.empty() || network.variant == name;
  });
  if (found == networks.end()) {
    throw Error(ErrorKind::kUsage, "the style '" + std::string(nameOf(style)) + "' has no network " + base::quoted(name) +
                                       ": leave the network out");
  }
  return *found;
}

ModelPackage::ModelPackage(const fs::path& named)
    : folder_(findFolder(named)), file_(folder_ / modelpack::kPackageFileName), directory_(readDirectory(file_)) {
  library_folder_ = libraryFolderOf(folder_, file_);
}

void ModelPackage::requireNetwork(Style style, const modelpack::NamedNetwork& network) const {
  std::vector<std::string> absent;
  for (const std::string& entry : modelpack::requiredEntries(network)) {
    if (directory_.find(entry) == nullptr) {
      absent.push_back("'" + entry + "'");
    }
  }
  if (!absent.empty()) {
    throw unusable("the style '" + std::string(nameOf(style)) + "' cannot be prepared: " + base::quotedPath(file_) + " lacks " +
                   base::joined(absent) + ": build a package with " + (absent.size() == 1 ? "it" : "them") +
                   " (see vorin-pack --help)");
  }
}

std::uint64_t ModelPackage::bytesOf(const modelpack::NamedNetwork& network) const {
  std::uint64_t bytes = 0;
  for (const std::string& name : modelpack::requiredEntries(network)) {
    const modelpack::PackageEntry* entry = directory_.find(name);
    bytes += entry != nullptr ? entry->size_bytes : 0;
  }
  return bytes;
}

std::string ModelPackage::sha256Of(const modelpack::PackageEntry& entry) const {
  return base::sha256OfFile(file_, entry.offset_bytes, entry.size_bytes, modelpack::kPackageKey);
}

Error ModelPackage::failedToLoad(Style style) const {
  return unusable("the style '" + std::string(nameOf(style)) + "' cannot be prepared: its network is not loaded" +
                  checkAdvice(file_));
}

Error ModelPackage::failedToRun(Style style) const {
  return unusable("the style '" + std::string(nameOf(style)) + "' cannot be used: its network does not work on this device" +
                  checkAdvice(file_));
}

} // namespace vorin::media
