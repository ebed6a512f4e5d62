// terminal.h: standard error as a place for a line that changes.
#pragma once

#include "quiet_output.h"

#include <string_view>

namespace vorin::stylize {

bool isTerminal(Stream stream);

// Of standard error, in characters; 80 where the system does not tell.
int terminalColumns();

// Standard error for a thread of its own: what it writes comes out even while a Quiet keeps the stream shut.
class OwnStandardError {
public:
  OwnStandardError();
  ~OwnStandardError();
  OwnStandardError(const OwnStandardError&) = delete;
  OwnStandardError& operator=(const OwnStandardError&) = delete;

  void write(std::string_view text) const; // what cannot be written is lost

private:
  int descriptor_; // -1: there is none
};

} // namespace vorin::stylize
