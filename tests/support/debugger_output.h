// Collects what this process says to whoever debugs it: on standard error, or through the system's call for that.
#pragma once

#include <string>

namespace vorin::tests {

// One at a time.
class DebuggerOutput {
public:
  DebuggerOutput();
  ~DebuggerOutput();
  DebuggerOutput(const DebuggerOutput&) = delete;
  DebuggerOutput& operator=(const DebuggerOutput&) = delete;

  // What was said since the beginning. Ends the collection.
  std::string take();

private:
  bool taken_ = false;
};

} // namespace vorin::tests
