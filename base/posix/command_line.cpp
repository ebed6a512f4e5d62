#include "../command_line.h"

namespace vorin::base {

std::vector<std::string> utf8Arguments(int count, const char* const* arguments) {
  return {arguments, arguments + count};
}

} // namespace vorin::base
