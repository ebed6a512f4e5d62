// The diagnostic log's debugger output for a scope, and its lines.
#pragma once

#include "core/log.h"
#include "support/test_environment.h"

#include <string>
#include <vector>

namespace vorin::tests {

class LogOn {
public:
  LogOn() { openLog(); }
  ~LogOn() {
    const LogSetting off(0);
    openLog();
  }
  LogOn(const LogOn&) = delete;
  LogOn& operator=(const LogOn&) = delete;

private:
  LogSetting debugger_only_{1};
};

class LogLines {
public:
  // The log's lines since the scope began, without what all begin with; once.
  std::vector<std::string> take() { return logLinesOf(output_.take()); }

private:
  LogOn log_;
  DebuggerOutput output_;
};

} // namespace vorin::tests
