// The catalogue of neural styles: finds the network file of the model package for a style, in the precision for the device.
//
// A name that contains "_int8" is a network quantised to 8-bit integers; the package holds its floating-point twin under the name
// without it. A device gets the quantised one if it reports "INT8" among its capabilities.
#pragma once

#include "modelpack/network_names.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorin::neural {

// A row without an index serves the indexes of its style that have no row of their own.
struct CatalogueRow {
  std::int32_t style_type; // an SttStyleType
  std::optional<std::int32_t> style_index;
  std::string_view network_name;
};

// For style type 0, index 1 has no row of its own, nor has an index that was never set: both get the 256 network. The rows are in
// the order of the engines in an object, which destroys them from the last to the first.
inline constexpr std::array<CatalogueRow, modelpack::kNetworks.size()> kCatalogue = {{
    {0, std::nullopt, modelpack::networkOf(0, 1).quantised_entry},
    {0, 0, modelpack::networkOf(0, 0).quantised_entry},
    {0, 2, modelpack::networkOf(0, 2).quantised_entry},
    {1, std::nullopt, modelpack::networkOf(1, 0).quantised_entry},
    {2, std::nullopt, modelpack::networkOf(2, 0).quantised_entry},
}};

using modelpack::kContentInputName;
using modelpack::kStyleInputName;

// Returns the row that serves a style, or nothing for a style type that is not neural.
std::optional<std::size_t> findCatalogueRow(std::int32_t style_type, std::int32_t style_index);

// Returns the name without its first "_int8", unless the device's capability text contains "INT8".
std::string adaptNameToDevice(std::string_view network_name, const std::string& capabilities);

} // namespace vorin::neural
