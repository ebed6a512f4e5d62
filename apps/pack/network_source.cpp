#include "network_source.h"

#include "cancellation.h"
#include "entry_name.h"
#include "failure.h"
#include "onnx_to_ir.h"
#include "temporary_folder.h"
#include "utf8_path.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <sstream>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

} // namespace

bool isNetworkName(const fs::path& file) {
  const std::string extension = base::lowerCaseExtension(file);
  return extension == ".xml" || extension == ".onnx";
}

void requireFile(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::exists(status)) {
    throw Failure(quotedPath(file) + " does not exist: check the name");
  }
  if (!fs::is_regular_file(status)) {
    throw Failure(quotedPath(file) + " is not a file: name a file");
  }
}

bool looksLikeIr(const fs::path& file) {
  constexpr std::size_t kHeadBytes = 4096;
  std::array<char, kHeadBytes> head{};
  std::ifstream stream(file, std::ios::binary);
  stream.read(head.data(), head.size());
  return std::string_view(head.data(), static_cast<std::size_t>(stream.gcount())).find("<net") != std::string_view::npos;
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
  throwIfCancelled();
  const auto known = loaded_.find(file);
  if (known != loaded_.end()) {
    return known->second;
  }
  if (!isNetworkName(file)) {
    throw Failure(quotedPath(file) +
                  " is not a network, an .xml or .onnx file: leave it out (weights come by themselves), or pack it as it is with "
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
    throw Failure(quotedPath(file) + " has no weights: put " + quotedPath(weights.filename()) + " beside it");
  }
  if (!looksLikeIr(file)) {
    throw Failure(quotedPath(file) + " is not a network in OpenVINO's IR: export it as that or as ONNX");
  }
  try {
    core_.read_model(base::utf8Text(file), base::utf8Text(weights));
  } catch (const std::exception& error) {
    throw Failure(quotedPath(file) + " is not a network that the runtime can read (" + runtimeReason(error) +
                  "): export it anew as OpenVINO IR or ONNX");
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
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& error) {
    throw Failure(quotedPath(file) + " is not an ONNX network that the runtime can convert (" + runtimeReason(error) +
                  "): export it anew, or convert it with OpenVINO's own tools and pack the IR");
  }
  return {network, fs::path(network).replace_extension(".bin")};
}

} // namespace vorin::pack
