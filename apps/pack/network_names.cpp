#include "network_names.h"

#include "neural/style_catalogue.h"

#include <algorithm>
#include <vector>

namespace vorin::pack {
namespace {

struct NameRow {
  const char* name;
  std::int32_t style_type;
  std::int32_t style_index;
};

constexpr NameRow kNames[] = {
    {"transfer-512", 0, 0}, {"transfer-256", 0, 1}, {"transfer-540p", 0, 2}, {"lightgrey", 1, 0}, {"cartoon", 2, 0}};

std::vector<CatalogueNetwork> makeNetworks() {
  std::vector<CatalogueNetwork> networks;
  for (const NameRow& row : kNames) {
    const std::string entry =
        neural::kCatalogue.at(neural::findCatalogueRow(row.style_type, row.style_index).value()).network_name;
    networks.push_back(
        {row.name, row.style_type, neural::adaptNameToDevice(entry, "INT8"), neural::adaptNameToDevice(entry, "")});
  }
  return networks;
}

} // namespace

std::span<const CatalogueNetwork> catalogueNetworks() {
  static const std::vector<CatalogueNetwork> networks = makeNetworks();
  return networks;
}

const CatalogueNetwork* findCatalogueNetwork(const std::string& name) {
  const auto networks = catalogueNetworks();
  const auto found =
      std::find_if(networks.begin(), networks.end(), [&](const CatalogueNetwork& network) { return network.name == name; });
  return found == networks.end() ? nullptr : &*found;
}

std::string catalogueNetworkNames() {
  std::string names;
  for (const CatalogueNetwork& network : catalogueNetworks()) {
    names += (names.empty() ? "" : ", ") + network.name;
  }
  return names;
}

} // namespace vorin::pack
