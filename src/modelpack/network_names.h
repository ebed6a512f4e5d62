// The networks of the neural styles: the style that each serves, its names on command lines, and its entries in the package.
//
// A network is two entries, the network (".xml") and its weights (".bin"). Most have a twin quantised to 8-bit integers, which is
// an entry of its own with "_int8" in its name: the library loads the one or the other, depending on the device.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::modelpack {

struct NamedNetwork {
  std::string_view name;    // unique among all networks, for the packer: "transfer-512"
  std::string_view style;   // "transfer"
  std::string_view variant; // among the networks of its style: "512"; empty if the style has only this one
  std::int32_t style_type;  // an SttStyleType
  std::int32_t style_index;
  std::string_view quantised_entry; // for devices that work with 8-bit integers; equals float_entry if there is no twin
  std::string_view float_entry;     // for all others

  constexpr bool hasTwin() const { return quantised_entry != float_entry; }
};

// The networks of a style follow each other, its default first.
inline constexpr std::array<NamedNetwork, 5> kNetworks = {{
    {"transfer-512", "transfer", "512", 0, 0, "ensemble_out_r31_512_retrained_autoencoder_int8.xml",
     "ensemble_out_r31_512_retrained_autoencoder.xml"},
    {"transfer-256", "transfer", "256", 0, 1, "ensemble_out_r31_256_retrained_autoencoder_int8.xml",
     "ensemble_out_r31_256_retrained_autoencoder.xml"},
    {"transfer-540p", "transfer", "540p", 0, 2, "ensemble_out_r31_c540p_s512_retrained_autoencoder.xml",
     "ensemble_out_r31_c540p_s512_retrained_autoencoder.xml"},
    {"lightgrey", "lightgrey", "", 1, 0, "model_lightgrey_v19_int8.xml", "model_lightgrey_v19.xml"},
    {"cartoon", "cartoon", "", 2, 0, "cartoon_model_slim5.xml", "cartoon_model_slim5.xml"},
}};

// The names of the two inputs of the networks of style type 0.
inline constexpr const char* kContentInputName = "input_content";
inline constexpr const char* kStyleInputName = "input_style";

// Throws std::out_of_range for a style type or index that has no network of its own.
constexpr const NamedNetwork& networkOf(std::int32_t style_type, std::int32_t style_index) {
  for (const NamedNetwork& network : kNetworks) {
    if (network.style_type == style_type && network.style_index == style_index) {
      return network;
    }
  }
  throw std::out_of_range("no network of this style");
}

// The entry of the weights that go with a network's: ".bin" in place of all from the last "." on.
inline std::string weightsEntry(std::string_view network_entry) {
  return std::string(network_entry.substr(0, network_entry.rfind('.'))) + ".bin";
}

// Null for an unknown name.
const NamedNetwork* findNetwork(std::string_view name);

// The names of all networks.
std::vector<std::string> networkNames();

// The two or four entries that a package must hold so that every device gets the network.
std::vector<std::string> requiredEntries(const NamedNetwork& network);

} // namespace vorin::modelpack
