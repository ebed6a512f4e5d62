#include "../entry_name.h"

namespace vorin::pack {

bool isReservedFileName(const std::string& /*name*/) {
  return false;
}

} // namespace vorin::pack
