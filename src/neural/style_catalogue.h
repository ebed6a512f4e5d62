// The catalogue of neural styles: which network file of the model package serves a style, and which of its two precisions a
// device gets.
//
// A name that contains "_int8" is a network quantised to 8-bit integers; the package holds its floating-point twin under the name
// without it. A device gets the quantised one if it reports "INT8" among its capabilities.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace vorin::neural {

// A row without an index serves the indexes of its style that have no row of their own.
struct CatalogueRow {
  std::int32_t style_type; // an SttStyleType
  std::optional<std::int32_t> style_index;
  const char* network_name;
};

// For style type 0, index 1 has no row of its own, nor has an index that was never set: both get the 256 network. The rows are in
// the order of the engines in an object, which destroys them from the last to the first.
inline constexpr std::array<CatalogueRow, 5> kCatalogue = {{
    {0, std::nullopt, "ensemble_out_r31_256_retrained_autoencoder_int8.xml"},
    {0, 0, "ensemble_out_r31_512_retrained_autoencoder_int8.xml"},
    {0, 2, "ensemble_out_r31_c540p_s512_retrained_autoencoder.xml"},
    {1, std::nullopt, "model_lightgrey_v19_int8.xml"},
    {2, std::nullopt, "cartoon_model_slim5.xml"},
}};

// The names of the two inputs of the networks of style type 0.
inline constexpr const char* kContentInputName = "input_content";
inline constexpr const char* kStyleInputName = "input_style";

// The row that serves a style, or nothing for a style type that is not neural.
std::optional<std::size_t> findCatalogueRow(std::int32_t style_type, std::int32_t style_index);

// The name without its first "_int8" unless the device's capability text contains "INT8".
std::string adaptNameToDevice(const std::string& network_name, const std::string& capabilities);

// The name of the weights file beside a network file: ".bin" in place of all from the last "." on.
std::string weightsName(const std::string& network_name);

} // namespace vorin::neural
