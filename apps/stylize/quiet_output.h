// quiet_output.h: keeps standard output or standard error shut while a library works that would print lines of its own.
#pragma once

namespace vorin::stylize {

enum class Stream { kOutput, kError };

// One at a time for each stream, and only while no other thread has something to say.
class Quiet {
public:
  explicit Quiet(Stream stream);
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

private:
  Stream stream_;
  int saved_; // a duplicate of the descriptor; -1: nothing was silenced
};

} // namespace vorin::stylize
