// exit_status.h: how the command-line programs end. Scripts depend on the numbers, so they never change.
#pragma once

#include "vorin_error.hpp"

namespace vorin::base {

enum class ExitStatus : int {
  kDone = 0,
  kSomeInputsFailed = 1,
  kUsage = 2,
  kConfiguration = 3, // a model package or a configuration that cannot be used
  kDevice = 4,
  kInputOutput = 5,
  kCancelled = 130
};

inline ExitStatus exitStatusOf(ErrorKind kind) {
  switch (kind) {
  case ErrorKind::kUsage:
    return ExitStatus::kUsage;
  case ErrorKind::kModel:
    return ExitStatus::kConfiguration;
  case ErrorKind::kDevice:
  case ErrorKind::kBusy:
    return ExitStatus::kDevice;
  case ErrorKind::kInputOutput:
    break;
  }
  return ExitStatus::kInputOutput;
}

} // namespace vorin::base
