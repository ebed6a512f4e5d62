#include "../standard_streams.h"

namespace vorin::tools {

void prepareStandardStreams() {} // they are so

} // namespace vorin::tools
