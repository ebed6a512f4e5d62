// properties.hpp: the properties by name and type that this project uses. The C API knows them by the same names.
#pragma once

#include <openvino/core/any.hpp>

#include <string>
#include <utility>
#include <vector>

namespace ov {

template <typename T> class Property {
public:
  using value_type = T;

  constexpr explicit Property(const char* name) : name_(name) {}
  const char* name() const { return name_; }
  std::pair<std::string, Any> operator()(const T& value) const { return {name_, Any(value)}; }

private:
  const char* name_;
};

inline constexpr Property<std::string> cache_dir("CACHE_DIR");
inline constexpr Property<bool> loaded_from_cache("LOADED_FROM_CACHE");

namespace hint {

inline constexpr Property<element::Type> inference_precision("INFERENCE_PRECISION_HINT");

} // namespace hint

namespace device {

inline constexpr Property<std::string> full_name("FULL_DEVICE_NAME");
inline constexpr Property<std::vector<std::string>> capabilities("OPTIMIZATION_CAPABILITIES");

} // namespace device

namespace binding {

// Converts properties for the C API. The results point into the map.
inline std::vector<ov_property_t> toC(const AnyMap& properties, std::vector<std::string>& texts) {
  std::vector<ov_property_t> result;
  texts.reserve(properties.size());
  for (const auto& [key, value] : properties) {
    texts.push_back(value.as<std::string>());
    result.push_back({key.c_str(), texts.back().c_str()});
  }
  return result;
}

} // namespace binding
} // namespace ov
