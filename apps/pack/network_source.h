// network_source.h: a user's network file as the two files of OpenVINO's IR that a package holds, read by the runtime once to be
// sure.
#pragma once

#include <openvino/runtime/core.hpp>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace vorin::pack {

class TemporaryFolder;

struct NetworkFiles {
  std::filesystem::path network; // .xml
  std::filesystem::path weights; // .bin
};

// Whether the name's extension is one of a network, .xml or .onnx.
bool isNetworkName(const std::filesystem::path& file);

// Throws a Failure unless the file is there and is a regular one.
void requireFile(const std::filesystem::path& file);

// Whether the file's head is that of an IR network. To be asked first: on anything else the runtime tries all its readers, and
// some of them print.
bool looksLikeIr(const std::filesystem::path& file);

// What the runtime gave as reason, on one line and without the places in its source.
std::string runtimeReason(const std::exception& error);

class NetworkSource {
public:
  explicit NetworkSource(bool half_precision);
  ~NetworkSource();
  NetworkSource(const NetworkSource&) = delete;
  NetworkSource& operator=(const NetworkSource&) = delete;

  // IR stays as it is, with the weights file that lies beside it; ONNX is converted, into files that live as long as this object.
  // Throws a Failure for what is not a network.
  NetworkFiles load(const std::filesystem::path& file);

private:
  NetworkFiles loadIr(const std::filesystem::path& file);
  NetworkFiles convertOnnx(const std::filesystem::path& file);

  ov::Core core_;
  bool half_precision_;
  std::unique_ptr<TemporaryFolder> converted_;
  std::map<std::filesystem::path, NetworkFiles> loaded_;
};

} // namespace vorin::pack
