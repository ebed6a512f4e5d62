#include "model_package.h"

#include "program_files.h"
#include "quoted_name.h"
#include "software_device.h"
#include "utf8_path.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <vector>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFileName = "model_st.bin";
constexpr std::size_t kMaxNameBytes = 1023;
constexpr std::uint32_t kMaxEntryBytes = 0x40000000;
constexpr std::uint32_t kMaxOffset = 0x7FFFFFFF;

Failure unusable(const std::string& line) {
  return {ExitStatus::kConfiguration, line};
}

fs::path findFolder(const std::optional<fs::path>& named) {
  std::error_code error;
  if (named) {
    if (!fs::is_directory(*named, error)) {
      throw unusable("--models " + base::quotedPath(*named) + " is not a folder: name the one that holds " + kFileName);
    }
    return *named;
  }
  const fs::path program = programFolder();
  const fs::path above = program.parent_path();
  for (const fs::path& folder : {program, program / "models", above / "models", above / "share/vorin-stt/models"}) {
    if (fs::exists(folder / kFileName, error)) {
      return folder;
    }
  }
  throw unusable("there is no model package here: build one with models/build or vorin-pack, and name the folder of " +
                 std::string(kFileName) + " with --models if it is not the program's own");
}

std::optional<std::uint32_t> readNumber(std::istream& file) {
  std::array<char, 4> bytes{};
  if (!file.read(bytes.data(), bytes.size())) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t index = bytes.size(); index-- > 0;) {
    number = number << 8U | static_cast<unsigned char>(bytes[index]);
  }
  return number;
}

// Nothing where the directory breaks off.
std::optional<PackageEntry> readRecord(std::istream& file) {
  PackageEntry record;
  for (char letter = 0; file.get(letter) && letter != '\0';) {
    record.name += letter;
    if (record.name.size() > kMaxNameBytes) {
      return std::nullopt;
    }
  }
  const auto size_bytes = readNumber(file);
  const auto offset_bytes = readNumber(file);
  if (!size_bytes || !offset_bytes) {
    return std::nullopt;
  }
  record.size_bytes = *size_bytes;
  record.offset_bytes = *offset_bytes;
  return record;
}

bool liesWithin(const PackageEntry& record, std::uintmax_t file_bytes) {
  const std::uint64_t end = record.offset_bytes + record.size_bytes;
  return record.size_bytes <= kMaxEntryBytes && record.offset_bytes <= kMaxOffset &&
         (record.size_bytes == 0 || end <= file_bytes);
}

std::vector<PackageEntry> readEntries(const fs::path& package) {
  std::error_code error;
  if (!fs::is_regular_file(package, error)) {
    throw unusable(base::quotedPath(package) + (fs::exists(package, error) ? " is not a file" : " does not exist") +
                   ": build it with models/build or vorin-pack, or name another folder with --models");
  }
  const std::uintmax_t file_bytes = fs::file_size(package, error);
  std::ifstream file(package, std::ios::binary);
  if (error || !file) {
    throw unusable(base::quotedPath(package) + " cannot be read: check its permissions");
  }
  std::vector<PackageEntry> entries;
  for (;;) {
    std::optional<PackageEntry> record = readRecord(file);
    if (!record || !liesWithin(*record, file_bytes)) {
      throw unusable(base::quotedPath(package) +
                     " is no model package, or an incomplete one: copy or build it anew ('vorin-pack list' shows " +
                     "what is wrong)");
    }
    if (record->name.empty()) {
      return entries;
    }
    entries.push_back(*std::move(record));
  }
}

std::string checkedNarrowText(const fs::path& folder) {
  std::optional<std::string> text = narrowText(folder);
  if (!text) {
    throw unusable("the folder " + base::quotedPath(folder) +
                   " has characters in its name that the library does not take on this system: copy " + kFileName +
                   " to a folder with a plain name and name that one with --models");
  }
  return *std::move(text);
}

std::vector<std::string> fileNames(const Network& network) {
  std::vector<std::string> names;
  for (const char* const twin : {"", "_int8"}) {
    for (const char* const ending : {".xml", ".bin"}) {
      if (*twin == '\0' || network.has_twin) {
        names.push_back(std::string(network.entry) + twin + ending);
      }
    }
  }
  return names;
}

} // namespace

ModelPackage::ModelPackage(const std::optional<fs::path>& named)
    : folder_(findFolder(named)), file_(folder_ / kFileName), entries_(readEntries(file_)) {
  fs::path library_folder = folder_;
  if (!isWritable(folder_)) { // as that of an installed package
    const std::optional<fs::path> own = folderOfLinkTo(file_);
    if (!own) {
      throw unusable("the folder " + base::quotedPath(folder_) +
                     " is not writable, and the library takes no package from such a one: change its permissions, or copy " +
                     kFileName + " elsewhere and name that folder with --models");
    }
    library_folder = *own;
  }
  library_folder_ = checkedNarrowText(library_folder);
}

std::string ModelPackage::read(const PackageEntry& entry) const {
  std::string content(static_cast<std::size_t>(entry.size_bytes), '\0');
  std::ifstream stream(file_, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(entry.offset_bytes));
  if (!stream.read(content.data(), static_cast<std::streamsize>(content.size()))) {
    throw unusable(base::quotedPath(file_) + " cannot be read: check its permissions");
  }
  std::transform(content.begin(), content.end(), content.begin(),
                 [](char letter) { return static_cast<char>(static_cast<std::uint8_t>(letter) ^ kEntryMask); });
  return content;
}

void ModelPackage::requireNetwork(const Style& style, const Network& network) const {
  std::string absent;
  for (const std::string& name : fileNames(network)) {
    if (std::none_of(entries_.begin(), entries_.end(), [&](const PackageEntry& entry) { return entry.name == name; })) {
      absent += (absent.empty() ? "'" : ", '") + name + "'";
    }
  }
  if (!absent.empty()) {
    throw unusable("the style '" + std::string(style.name) + "' cannot be prepared: " + base::quotedPath(file_) + " lacks " +
                   absent + ": build a package with " + (absent.find(',') == std::string::npos ? "it" : "them") +
                   " (see vorin-pack --help)");
  }
}

Failure ModelPackage::failedToLoad(const Style& style) const {
  return unusable("the style '" + std::string(style.name) + "' cannot be prepared: its network is not loaded" + checkAdvice());
}

Failure ModelPackage::failedToRun(const Style& style) const {
  return unusable("the style '" + std::string(style.name) + "' cannot draw: its network does not work on this device" +
                  checkAdvice());
}

std::string ModelPackage::checkAdvice() const {
  return ": see what vorin-pack verify " + base::quotedPath(file_) + " finds" +
         (isSoftwareDeviceActive() ? "" : ", or try --device software");
}

} // namespace vorin::stylize
