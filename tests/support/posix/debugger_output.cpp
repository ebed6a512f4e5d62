#include "support/debugger_output.h"

#include <gtest/gtest.h>

namespace vorin::tests {

DebuggerOutput::DebuggerOutput() {
  testing::internal::CaptureStderr();
}

DebuggerOutput::~DebuggerOutput() {
  if (!taken_) {
    take();
  }
}

std::string DebuggerOutput::take() {
  taken_ = true;
  return testing::internal::GetCapturedStderr();
}

} // namespace vorin::tests
