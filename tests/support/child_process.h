// Runs a program as a user's shell would, and returns its exit status and output. Under Wine the program may also be one of the
// system below it: paths in its arguments are then written as that system has them.
#pragma once

#include "support/test_environment.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorin::tests {

struct ChildSetting {
  std::filesystem::path working_folder;                        // empty: the test's own
  std::map<std::string, std::optional<std::string>> variables; // set, or removed (no value), for the child only
  std::optional<std::filesystem::path> standard_output = {};   // instead of catching it
  bool gets_signals = false;                                   // to be set where signal() is to reach it
};

struct ChildResult {
  int exit_status = -1; // -1: ended by a signal
  std::string standard_output;
  std::string standard_error;
};

class ChildProcess {
public:
  // arguments: the program first.
  ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting);
  ~ChildProcess(); // ends the program
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void signal(int number) const; // as raise() knows it; on Windows it is always Ctrl-C
  void kill() const;
  void pause() const;
  void goOn() const;
  ChildResult wait();

private:
  struct Running;
  std::unique_ptr<Running> running_;
};

// Runs a program, and sends it the signals, one after the other, as soon as the condition holds.
inline ChildResult runAndSignal(const std::vector<std::string>& arguments, ChildSetting setting,
                                const std::function<bool()>& condition, const std::vector<int>& signals = {SIGINT}) {
  setting.gets_signals = true;
  ChildProcess child(arguments, setting);
  waitUntil(condition);
  for (const int number : signals) {
    child.signal(number);
  }
  return child.wait();
}

} // namespace vorin::tests
