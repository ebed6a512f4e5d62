#include "cancellation.h"
#include "output_file.h"
#include "packing.h"
#include "text.h"
#include "vorin_error.hpp"

#include <array>
#include <fstream>
#include <sstream>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;
using base::quotedPath;

constexpr std::size_t kHeadBytes = 4096;

Error failure(const std::string& line) {
  return {ErrorKind::kModel, line};
}

std::string headOf(const fs::path& file) {
  std::array<char, kHeadBytes> head{};
  std::ifstream stream(file, std::ios::binary);
  stream.read(head.data(), head.size());
  return {head.data(), static_cast<std::size_t>(stream.gcount())};
}

} // namespace

// A private folder for temporary files, which may hold the user's private data.
class NetworkSource::TemporaryFolder {
public:
  TemporaryFolder() {
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    path_ = folder / base::randomName("vorin-pack-", "");
    if (error || !fs::create_directory(path_, error)) {
      throw Error(ErrorKind::kInputOutput, "no folder for temporary files (" + error.message() +
                                               "): name one in the environment variable TMPDIR (TMP on Windows)");
    }
    fs::permissions(path_, fs::perms::owner_all, error);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return path_; }

private:
  fs::path path_;
};

bool isNetworkName(const fs::path& file) {
  const std::string extension = base::lowerCaseExtension(file);
  return extension == ".xml" || extension == ".onnx";
}

void requireFile(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::exists(status)) {
    throw Error(ErrorKind::kInputOutput, quotedPath(file) + " does not exist: check the name");
  }
  if (!fs::is_regular_file(status)) {
    throw Error(ErrorKind::kInputOutput, quotedPath(file) + " is not a file: name a file");
  }
}

bool looksLikeIr(std::string_view description) {
  return description.substr(0, kHeadBytes).find("<net") != std::string_view::npos;
}

std::string runtimeReason(const std::exception& error) {
  std::istringstream lines(error.what());
  std::string reason = "no reason given";
  for (std::string line; std::getline(lines, line);) {
    if (line.find_first_not_of(" \t\r") != std::string::npos && line.rfind("Exception from", 0) != 0) {
      reason = line;
    }
  }
  return reason;
}

NetworkSource::NetworkSource(bool half_precision) : half_precision_(half_precision) {}

NetworkSource::~NetworkSource() = default;

NetworkFiles NetworkSource::load(const fs::path& file) {
  base::throwIfCancelled();
  const auto known = loaded_.find(file);
  if (known != loaded_.end()) {
    return known->second;
  }
  if (!isNetworkName(file)) {
    throw failure(quotedPath(file) + " is not a network, an .xml or .onnx file: leave it out (weights are packed with their "
                                     "network), or pack it unchanged with "
                                     "--name ENTRY=FILE");
  }
  requireFile(file);
  NetworkFiles files = base::lowerCaseExtension(file) == ".onnx" ? convertOnnx(file) : loadIr(file);
  loaded_[file] = files;
  return files;
}

NetworkFiles NetworkSource::loadIr(const fs::path& file) {
  const fs::path weights = fs::path(file).replace_extension(".bin");
  if (!fs::is_regular_file(weights)) {
    throw failure(quotedPath(file) + " has no weights: put " + quotedPath(weights.filename()) + " beside it");
  }
  if (!looksLikeIr(headOf(file))) {
    throw failure(quotedPath(file) + " is not a network in OpenVINO's IR: export it as that or as ONNX");
  }
  try {
    core_.read_model(base::utf8Text(file), base::utf8Text(weights));
  } catch (const std::exception& error) {
    throw failure(quotedPath(file) + " is not a network that the runtime can read (" + runtimeReason(error) +
                  "): export it again as OpenVINO IR or ONNX");
  }
  return {file, weights};
}

NetworkFiles NetworkSource::convertOnnx(const fs::path& file) {
  if (!converted_) {
    converted_ = std::make_unique<TemporaryFolder>();
  }
  const fs::path network = converted_->path() / (std::to_string(loaded_.size()) + ".xml");
  try {
    convertOnnxToIr(file, network, half_precision_);
  } catch (const Error&) {
    throw;
  } catch (const std::exception& error) {
    throw failure(quotedPath(file) + " is not an ONNX network that the runtime can convert (" + runtimeReason(error) +
                  "): export it again, or convert it with OpenVINO's own tools and pack the IR");
  }
  return {network, fs::path(network).replace_extension(".bin")};
}

} // namespace vorin::pack
