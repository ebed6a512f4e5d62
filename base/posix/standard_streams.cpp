#include "../standard_streams.h"

namespace vorin::base {

void prepareStandardStreams() {} // they are so

} // namespace vorin::base
