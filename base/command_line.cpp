#include "command_line.h"

namespace vorin::base {

CommandLine::CommandLine(int count, const char* const* arguments) : texts_(utf8Arguments(count, arguments)) {
  pointers_.reserve(texts_.size());
  for (const std::string& text : texts_) {
    pointers_.push_back(text.c_str());
  }
}

} // namespace vorin::base
