#include "../restart.h"

#include <stdexcept>

namespace vorin::stylize {

base::ExitStatus runOnSoftwareDevice(media::Precision /*precision*/, const std::string& /*reason*/) {
  throw std::logic_error("the software device runs inside the process on this system");
}

} // namespace vorin::stylize
