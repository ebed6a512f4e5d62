// The key/value store that the host fills before Prepare. It validates no value: a bad value causes a failure where it is used.
#pragma once

#include "vorin_stt.h"

#include <array>
#include <cstdint>
#include <string>

namespace vorin {

class Configuration {
public:
  // `value` points to an int32_t, or for SttCfgModelPath to a NUL-terminated text; it is copied. VORIN_STATUS_INVALID_PARAM for
  // an unknown key, which changes nothing.
  _VorinStatus set(std::uint32_t key, const void* value);

  // Reads a number. VORIN_STATUS_INVALID_PARAM for an unknown key and for SttCfgModelPath, which leaves *value alone.
  _VorinStatus get(std::uint32_t key, std::int32_t* value) const;

  std::int32_t number(SttConfigKey key) const { return numbers_[key]; }
  const std::string& modelFolder() const { return model_folder_; }

private:
  static constexpr std::size_t kNumberKeys = 5; // SttCfgStyleType to SttCfgReserved

  std::array<std::int32_t, kNumberKeys> numbers_ = {-1, -1, 0, 0, 0};
  std::string model_folder_;
};

} // namespace vorin
