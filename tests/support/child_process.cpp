#include "support/child_process.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace vorin::tests {
namespace {

int namelessFile() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vorin-child-XXXXXX").string();
  const int descriptor = mkostemp(pattern.data(), O_CLOEXEC);
  if (descriptor < 0) {
    throw std::runtime_error("cannot make a temporary file");
  }
  unlink(pattern.c_str());
  return descriptor;
}

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

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting)
    : id_(-1), output_(setting.standard_output ? open(setting.standard_output->c_str(), O_WRONLY | O_CLOEXEC) : namelessFile()),
      error_(namelessFile()) {
  id_ = fork();
  if (id_ < 0 || output_ < 0) {
    throw std::runtime_error("cannot start a child process");
  }
  if (id_ == 0) {
    dup2(output_, STDOUT_FILENO);
    dup2(error_, STDERR_FILENO);
    becomeProgram(arguments, setting);
  }
}

ChildProcess::~ChildProcess() {
  if (!waited_for_) {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  close(output_);
  close(error_);
}

void ChildProcess::signal(int number) const {
  kill(id_, number);
}

ChildResult ChildProcess::wait() {
  int status = 0;
  waitpid(id_, &status, 0);
  waited_for_ = true;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output_), contentOf(error_)};
}

} // namespace vorin::tests
