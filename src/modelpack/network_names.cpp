#include "modelpack/network_names.h"

#include <algorithm>

namespace vorin::modelpack {

const NamedNetwork* findNetwork(std::string_view name) {
  const auto* const found =
      std::find_if(kNetworks.begin(), kNetworks.end(), [&](const NamedNetwork& network) { return network.name == name; });
  return found == kNetworks.end() ? nullptr : found;
}

std::vector<std::string> networkNames() {
  std::vector<std::string> names(kNetworks.size());
  std::transform(kNetworks.begin(), kNetworks.end(), names.begin(),
                 [](const NamedNetwork& network) { return std::string(network.name); });
  return names;
}

std::vector<std::string> requiredEntries(const NamedNetwork& network) {
  std::vector<std::string> entries = {std::string(network.float_entry), weightsEntry(network.float_entry)};
  if (network.hasTwin()) {
    entries.insert(entries.end(), {std::string(network.quantised_entry), weightsEntry(network.quantised_entry)});
  }
  return entries;
}

} // namespace vorin::modelpack
