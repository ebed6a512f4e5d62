#include "core/configuration.h"

#include <cstring>

namespace vorin {

_VorinStatus Configuration::set(std::uint32_t key, const void* value) {
  if (key < kNumberKeys) {
    std::memcpy(&numbers_[key], value, sizeof numbers_[key]);
    return VORIN_STATUS_OK;
  }
  if (key == SttCfgModelPath) {
    model_folder_ = static_cast<const char*>(value);
    return VORIN_STATUS_OK;
  }
  return VORIN_STATUS_INVALID_PARAM;
}

_VorinStatus Configuration::get(std::uint32_t key, std::int32_t* value) const {
  if (key >= kNumberKeys) {
    return VORIN_STATUS_INVALID_PARAM;
  }
  *value = numbers_[key];
  return VORIN_STATUS_OK;
}

} // namespace vorin
