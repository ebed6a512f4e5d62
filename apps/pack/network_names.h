// network_names.h: short names for the networks of the library's style catalogue, and the package entries that each stands for.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vorin::pack {

struct CatalogueNetwork {
  std::string name; // of the command line
  std::int32_t style_type = 0;
  std::string
      quantised_entry;     // for devices that work with 8-bit integers; the same as float_entry where the catalogue has no twin
  std::string float_entry; // for all others

  bool hasTwin() const { return quantised_entry != float_entry; }
};

std::span<const CatalogueNetwork> catalogueNetworks();

// Null for an unknown name.
const CatalogueNetwork* findCatalogueNetwork(const std::string& name);

// "transfer-512, transfer-256, ..."
std::string catalogueNetworkNames();

} // namespace vorin::pack
