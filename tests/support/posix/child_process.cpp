#include "support/child_process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace vorin::tests {
namespace {

[[noreturn]] void becomeProgram(const std::vector<std::string>& arguments, const ChildSetting& setting) {
  // What a signal does must not depend on how the tests were started.
  static_cast<void>(std::signal(SIGINT, SIG_DFL));
  for (const auto& [name, value] : setting.variables) {
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }
  const bool in_place = setting.working_folder.empty() || chdir(setting.working_folder.c_str()) == 0;
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  if (in_place) {
    execvp(pointers.front(), pointers.data());
  }
  std::perror("cannot start the program");
  constexpr int kCannotStart = 127;
  _exit(kCannotStart);
}

} // namespace

struct ChildProcess::Running {
  ~Running() {
    if (id > 0) {
      ::kill(id, SIGKILL);
      waitpid(id, nullptr, 0);
    }
  }

  TemporaryFolder folder; // of the files that the child writes and the test reads afterwards
  fs::path output = folder.path() / "output";
  fs::path error = folder.path() / "error";
  pid_t id = 0; // 0 before the start and after the end
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting)
    : running_(std::make_unique<Running>()) {
  running_->id = fork();
  if (running_->id < 0) {
    throw std::runtime_error("cannot start a child process");
  }
  if (running_->id == 0) {
    constexpr int kNewFile = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    dup2(open(setting.standard_output.value_or(running_->output).c_str(), kNewFile, 0600), STDOUT_FILENO);
    dup2(open(running_->error.c_str(), kNewFile, 0600), STDERR_FILENO);
    becomeProgram(arguments, setting);
  }
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::signal(int number) const {
  ::kill(running_->id, number);
}

void ChildProcess::kill() const {
  signal(SIGKILL);
}

void ChildProcess::pause() const {
  signal(SIGSTOP);
}

void ChildProcess::goOn() const {
  signal(SIGCONT);
}

ChildResult ChildProcess::wait() {
  int status = 0;
  waitpid(running_->id, &status, 0);
  running_->id = 0;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(running_->output), readFile(running_->error)};
}

} // namespace vorin::tests
