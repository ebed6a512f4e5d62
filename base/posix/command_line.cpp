#include "../command_line.h"

namespace vorin::tools {

std::vector<std::string> utf8Arguments(int count, const char* const* arguments) {
  return {arguments, arguments + count};
}

} // namespace vorin::tools
