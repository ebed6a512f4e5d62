#include "support/child_process.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorin::tests {
namespace {

std::string contentOf(int descriptor) {
  std::string content;
  std::array<char, 4096> part{};
  lseek(descriptor, 0, SEEK_SET);
  for (ssize_t bytes = 0; (bytes = read(descriptor, part.data(), part.size())) > 0;) {
    content.append(part.data(), static_cast<std::size_t>(bytes));
  }
  return content;
}

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

// The files have no name; the child writes them and the test reads them afterwards.
struct ChildProcess::Running {
  Running(int output_file, int error_file) : output(output_file), error(error_file) {}
  ~Running() {
    if (id > 0) {
      kill(id, SIGKILL);
      waitpid(id, nullptr, 0);
    }
    close(output);
    close(error);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  pid_t id = 0; // 0 before the start and after the end
  int output;
  int error;
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting)
    : running_(std::make_unique<Running>(setting.standard_output ? open(setting.standard_output->c_str(), O_WRONLY | O_CLOEXEC)
                                                                 : memfd_create("output", MFD_CLOEXEC),
                                         memfd_create("error", MFD_CLOEXEC))) {
  running_->id = fork();
  if (running_->id < 0 || running_->output < 0 || running_->error < 0) {
    throw std::runtime_error("cannot start a child process");
  }
  if (running_->id == 0) {
    dup2(running_->output, STDOUT_FILENO);
    dup2(running_->error, STDERR_FILENO);
    becomeProgram(arguments, setting);
  }
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::signal(int number) const {
  kill(running_->id, number);
}

ChildResult ChildProcess::wait() {
  int status = 0;
  waitpid(running_->id, &status, 0);
  running_->id = 0;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(running_->output), contentOf(running_->error)};
}

} // namespace vorin::tests
