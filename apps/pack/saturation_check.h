// saturation_check.h: whether processors without VNNI compute a network's 8-bit layers rightly.
//
// There the runtime multiplies unsigned activations by signed weights and adds neighbouring products in 16 bits, which saturate
// without a word. No pair does as long as no weight, counted in steps of its quantisation, is beyond 64: 2 x 255 x 64 = 32640, of
// 32767. Alone in its file because it walks through the network's operations, which the runtime's C interface does not show:
// where the programs are built on that one (compat/), saturation_check_left_out.cpp takes its place and finds nothing.
#pragma once

#include <openvino/core/model.hpp>

#include <string>
#include <vector>

namespace vorin::pack {

// The layers whose products can saturate and how to mend them, one a line, each continuing "the network ...".
std::vector<std::string> findSaturatingLayers(const ov::Model& network);

} // namespace vorin::pack
