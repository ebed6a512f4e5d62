// exit_status.h: how the program ends. The numbers are for good: scripts depend on them.
#pragma once

#include <stdexcept>
#include <string>

namespace vorin::stylize {

enum class ExitStatus : int {
  kDone = 0,
  kSomeInputsFailed = 1,
  kUsage = 2,
  kConfiguration = 3, // a model or a configuration that cannot be used
  kDevice = 4,
  kInputOutput = 5,
  kCancelled = 130
};

// Ends the work of one input: one line for the user that says what is wrong and what to do, and the exit status that goes with
// it.
class Failure : public std::runtime_error {
public:
  Failure(ExitStatus status, const std::string& line) : std::runtime_error(line), status_(status) {}
  ExitStatus status() const { return status_; }

private:
  ExitStatus status_;
};

} // namespace vorin::stylize
