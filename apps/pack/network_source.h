// network_source.h: turns a user's network file into the two files of OpenVINO's IR that a package holds. The runtime reads the
// file once, so that only readable networks get into a package.
#pragma once

#include <openvino/runtime/core.hpp>

#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace vorin::pack {

struct NetworkFiles {
  std::filesystem::path network; // .xml
  std::filesystem::path weights; // .bin
};

// Whether the name has the extension of a network, .xml or .onnx.
bool isNetworkName(const std::filesystem::path& file);

// Throws an Error unless the file exists and is a regular one.
void requireFile(const std::filesystem::path& file);

// Whether a description begins as an IR network does. Check this before the runtime reads it: on anything else the runtime tries
// all its readers, and some of them print.
bool looksLikeIr(std::string_view description);

// The reason in an exception of the runtime, on one line and without positions in the runtime's source.
std::string runtimeReason(const std::exception& error);

class NetworkSource {
public:
  explicit NetworkSource(bool half_precision);
  ~NetworkSource();
  NetworkSource(const NetworkSource&) = delete;
  NetworkSource& operator=(const NetworkSource&) = delete;

  // Returns an IR network unchanged, with the weights file beside it; converts ONNX into files that live as long as this object.
  // Throws an Error for any other file.
  NetworkFiles load(const std::filesystem::path& file);

private:
  class TemporaryFolder;

  NetworkFiles loadIr(const std::filesystem::path& file);
  NetworkFiles convertOnnx(const std::filesystem::path& file);

  ov::Core core_;
  bool half_precision_;
  std::unique_ptr<TemporaryFolder> converted_; // made for the first ONNX file
  std::map<std::filesystem::path, NetworkFiles> loaded_;
};

} // namespace vorin::pack
