// processes.h: this process among others: its name, its processors, and copies of the program that share them.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace vorin::base {

std::string hostName(); // letters, digits, '.' and '-' only
int processId();

// Whether a process of this host has that number; true if the system does not say.
bool isRunning(int process_id);

// The number of processors that this process may use.
int processorCount();

// A copy of this program at work. The destructor asks it to end, as Ctrl-C does, and waits for that.
class ChildProgram {
public:
  // Starts the program's own file with these arguments, in UTF-8, on one of `shares` equal shares of the processors that this
  // process may use. Throws Error(kInputOutput).
  ChildProgram(const std::vector<std::string>& arguments, int share, int shares);
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  bool hasEnded();  // returns at once
  int exitStatus(); // waits for the end; of one that was killed: 128 and the signal's number
  void cancel();    // asks it to end

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace vorin::base
