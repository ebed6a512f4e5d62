// Networks for the tests of ov::, read by it.
#pragma once

#include "support/ir_network.h"

#include <openvino/runtime/core.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vorin::tests {

inline ov::Tensor weightsOf(const IrNetwork& network) {
  ov::Tensor bytes(ov::element::u8, {std::max<std::size_t>(network.weights().size(), 1)});
  std::copy(network.weights().begin(), network.weights().end(), bytes.data<std::uint8_t>());
  return bytes;
}

inline std::shared_ptr<ov::Model> read(const IrNetwork& network) {
  return ov::Core().read_model(network.description(), weightsOf(network));
}

// A network with one input of the name, whose elements it returns unchanged.
inline IrNetwork identity(const std::string& shape, const std::string& type = "f32", const std::string& layout = "") {
  IrNetwork network;
  network.output(network.operation("Abs", {network.operation("Abs", {network.input({"frame"}, shape, type, layout)})}));
  return network;
}

// Adds [1,3,1,1] constants, so that shapes that do not fit are refused.
inline IrNetwork threePlanes(const std::string& shape) {
  IrNetwork network;
  network.output(network.operation(
      "Add", {network.input({"frame"}, shape), network.constant("1,3,1,1", std::vector<float>{1.0F, 2.0F, 3.0F})},
      "auto_broadcast=\"numpy\""));
  return network;
}

inline IrNetwork twoInputs() {
  IrNetwork network;
  const auto content = network.input({"input_content", "other"}, "1,3,4,6", "f32", "[N,C,H,W]");
  const auto style = network.input({"a\\,b &amp; c"}, "1,3,4,6");
  network.output(network.operation("Subtract", {content, style}, "auto_broadcast=\"numpy\""));
  return network;
}

} // namespace vorin::tests
