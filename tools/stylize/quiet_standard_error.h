// quiet_standard_error.h: keeps standard error shut while a decoder works that would print lines of its own.
#pragma once

namespace vorin::stylize {

// One at a time, and only while no other thread has something to say.
class QuietStandardError {
public:
  QuietStandardError();
  ~QuietStandardError();
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

private:
  int saved_; // a duplicate of the descriptor; -1: nothing was silenced
};

} // namespace vorin::stylize
