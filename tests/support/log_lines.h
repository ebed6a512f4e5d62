// Turns the diagnostic log's debugger output on for a scope and collects its lines.
#pragma once

#include "core/log.h"
#include "support/debugger_output.h"
#include "support/test_environment.h"

#include <sstream>
#include <string>
#include <vector>

namespace vorin::tests {

class LogLines {
public:
  LogLines() { openLog(); }
  ~LogLines() {
    const LogSetting off(0);
    openLog();
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  // The log's lines since the scope began; once.
  std::vector<std::string> take() {
    std::istringstream text(output_.take());
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
  DebuggerOutput output_;
};

} // namespace vorin::tests
