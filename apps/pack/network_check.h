// network_check.h: whether the library can use a network for a style: its inputs' number and names, their planes, size and
// element type, and its output. Each demand is one of the library's loading (src/neural) or of what it does with the result
// (src/pipeline).
#pragma once

#include <openvino/core/model.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorin::pack {

using NetworkReader = std::function<std::shared_ptr<ov::Model>()>;

// What is wrong with the network for the style type (0 to 2) and how to mend it, one a line, each continuing "the network ...".
// It is read for each look that changes it.
std::vector<std::string> checkNetwork(const NetworkReader& read, std::int32_t style_type);

} // namespace vorin::pack
