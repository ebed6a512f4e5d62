// Turns the diagnostic log's debugger output on for a scope and collects its lines, which POSIX systems have on standard error.
#pragma once

#include "core/log.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace vorin::tests {

class LogLines {
public:
  LogLines() {
    openLog();
    testing::internal::CaptureStderr();
  }
  ~LogLines() {
    if (!taken_) {
      testing::internal::GetCapturedStderr();
    }
    const LogSetting off(0);
    openLog();
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  // The log's lines since the scope began; once.
  std::vector<std::string> take() {
    taken_ = true;
    std::istringstream text(testing::internal::GetCapturedStderr());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      if (line.rfind("====== sdk: ", 0) == 0) { // OpenCL implementations write to standard error too
        lines.push_back(line);
      }
    }
    return lines;
  }

private:
  LogSetting debugger_only_{1};
  bool taken_ = false;
};

} // namespace vorin::tests
