// failure.h: how the program ends. The numbers are for good: scripts depend on them.
#pragma once

#include <stdexcept>
#include <string>

namespace vorin::pack {

enum class ExitStatus : int { kDone = 0, kFailed = 1, kUsage = 2, kCancelled = 130 };

// Ends the program: one line for the user that says what is wrong and what to do, and the exit status that goes with it.
class Failure : public std::runtime_error {
public:
  explicit Failure(const std::string& line, ExitStatus status = ExitStatus::kFailed)
      : std::runtime_error(line), status_(status) {}
  ExitStatus status() const { return status_; }

private:
  ExitStatus status_;
};

} // namespace vorin::pack
