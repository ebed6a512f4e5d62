// packing.h: what the commands stand on: network files in the form that a package holds, the package's writer, and its checks.
#pragma once

#include "modelpack/network_names.h"

#include <openvino/core/model.hpp>
#include <openvino/runtime/core.hpp>

#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::pack {

// ---- Network files ----

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

// Turns a user's network file into the two files of OpenVINO's IR that a package holds. The runtime reads the file once, so that
// only readable networks get into a package.
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

// ---- Operations ----
//
// The runtime's C interface does not show a network's operations, so a program built on that interface (compat/) uses
// runtime_graph_left_out.cpp instead of runtime_graph.cpp.

// Converts an ONNX network to OpenVINO's IR: writes `network` (.xml) and the weights beside it (.bin), in single precision unless
// half is asked for. Throws the runtime's exceptions, or an Error in a program that cannot convert ONNX.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision);

// The 8-bit layers that processors without VNNI compute wrongly, and how to mend them, one a line, each continuing "the network
// ...". There the runtime multiplies unsigned activations by signed weights and adds neighbouring products in 16 bits, which
// saturate silently. No pair does as long as no weight, counted in steps of its quantisation, is beyond 64:
// 2 x 255 x 64 = 32640, of 32767. Finds none in a program that cannot read operations.
std::vector<std::string> findSaturatingLayers(const ov::Model& network);

// ---- The package ----

struct PackedFile {
  std::string entry_name;
  std::filesystem::path file;
};

// Writes a package, whose format src/modelpack/model_package_reader.h describes: the directory comes first, then the files one
// after the other, streamed. A file that is packed under several names lies in the package once, and their records share it.
// Throws an Error for a name or a file that the format or the library cannot hold; then no package is written.
void writePackage(const std::vector<PackedFile>& files, const std::filesystem::path& package, bool overwrite);

// Why the name of an entry cannot be a file's name in a folder: empty, a separator of any system, a step up, a control character,
// or a name that this system reserves. Empty if it can.
std::string unusableAsFileName(const std::string& name);

// Checks that a package holds every network that the library may load, in a form that the library can use. Each requirement on a
// network (its inputs' number and names, their planes, size and element type, and its output) follows from how the library loads
// it (src/neural) or uses its result (src/pipeline).
//
// Returns what is wrong with the package and how to mend it, one problem a line. Checks the wanted networks only. Throws an Error
// if the package cannot be read at all.
std::vector<std::string> verifyPackage(const std::filesystem::path& package,
                                       std::span<const modelpack::NamedNetwork* const> wanted);

} // namespace vorin::pack
