#include "neural/style_catalogue.h"

namespace vorin::neural {

std::optional<std::size_t> findCatalogueRow(std::int32_t style_type, std::int32_t style_index) {
  std::optional<std::size_t> found;
  for (std::size_t row = 0; row < kCatalogue.size(); ++row) {
    if (kCatalogue[row].style_type == style_type && kCatalogue[row].style_index.value_or(style_index) == style_index) {
      found = row; // the rows with an index follow the one without
    }
  }
  return found;
}

std::string adaptNameToDevice(std::string_view network_name, const std::string& capabilities) {
  const std::string quantised = "_int8";
  const std::size_t position = network_name.find(quantised);
  std::string name(network_name);
  if (position != std::string::npos && capabilities.find("INT8") == std::string::npos) {
    name.erase(position, quantised.size());
  }
  return name;
}

} // namespace vorin::neural
