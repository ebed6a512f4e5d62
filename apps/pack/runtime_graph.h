// runtime_graph.h: the functions that read or change a network's operations. The runtime's C interface does not show operations,
// so a program built on that interface (compat/) uses runtime_graph_left_out.cpp instead of runtime_graph.cpp.
#pragma once

#include <openvino/core/model.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace vorin::pack {

// Converts an ONNX network to OpenVINO's IR: writes `network` (.xml) and the weights beside it (.bin), in single precision unless
// half is asked for. Throws the runtime's exceptions, or an Error in a program that cannot convert ONNX.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision);

// The 8-bit layers that processors without VNNI compute wrongly, and how to mend them, one a line, each continuing "the network
// ...". There the runtime multiplies unsigned activations by signed weights and adds neighbouring products in 16 bits, which
// saturate silently. No pair does as long as no weight, counted in steps of its quantisation, is beyond 64:
// 2 x 255 x 64 = 32640, of 32767. Finds none in a program that cannot read operations.
std::vector<std::string> findSaturatingLayers(const ov::Model& network);

} // namespace vorin::pack
