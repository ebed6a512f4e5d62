// The log where POSIX systems are by themselves: a switch that is text, and lines that do not fit, which are dropped. On Windows,
// the C runtime hands such lines to the host.
#include "core/log.h"
#include "support/debugger_output.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

namespace vorin {
namespace {

using namespace tests;

class PosixLog : public testing::Test {
protected:
  PosixLog() { openLog(); }
  ~PosixLog() override {
    const LogSetting off(0);
    openLog();
  }

  const LogSetting on_{1};
};

TEST_F(PosixLog, KeepsItsSwitchWhereTheVariableIsNoNumber) {
  for (const char* const text : {"0x2", "", "-1"}) {
    const ScopedVariable variable("VORIN_DUMP_ST_LOG", text);
    DebuggerOutput output;
    openLog();
    sttLogInfo("still on");
    EXPECT_EQ(output.take(), "====== sdk: [I] still on\n") << text;
  }
}

TEST_F(PosixLog, DropsALineThatDoesNotFit) {
  for (const std::size_t length : {239U, 255U, 256U, 5000U}) {
    DebuggerOutput output;
    sttLogError("%s", std::string(length, 'x').c_str());
    EXPECT_EQ(output.take(), "") << length;
  }
}

} // namespace
} // namespace vorin
