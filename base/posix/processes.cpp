#include "../processes.h"

#include "../text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <optional>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): not every system declares it

namespace vorin::base {
namespace {

std::vector<int> usableProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  std::vector<int> numbers;
  if (sched_getaffinity(0, sizeof(set), &set) == 0) {
    for (int number = 0; number < CPU_SETSIZE; ++number) {
      if (CPU_ISSET(number, &set)) {
        numbers.push_back(number);
      }
    }
  }
  return numbers;
}

// Limits this thread, and the processes that it starts, to a share of the processors while the object lives.
class Share {
public:
  Share(int share, int shares) {
    const std::vector<int> all = usableProcessors();
    if (all.empty() || shares < 2 || sched_getaffinity(0, sizeof(before_), &before_) != 0) {
      return;
    }
    const auto count = static_cast<int>(all.size());
    const int first = share * count / shares;
    const int last = std::max(first + 1, (share + 1) * count / shares);
    cpu_set_t own;
    CPU_ZERO(&own);
    for (int i = first; i < last; ++i) {
      CPU_SET(all[static_cast<std::size_t>(i % count)], &own);
    }
    is_set_ = sched_setaffinity(0, sizeof(own), &own) == 0;
    processors_ = last - first;
  }
  ~Share() {
    if (is_set_) {
      sched_setaffinity(0, sizeof(before_), &before_);
    }
  }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  int processors() const { return processors_; } // 0: not limited

private:
  cpu_set_t before_{};
  bool is_set_ = false;
  int processors_ = 0;
};

} // namespace

std::string hostName() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
    return "localhost";
  }
  std::string host = name.data();
  std::replace_if(
      host.begin(), host.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '.' && c != '-'; },
      '-');
  return host;
}

int processId() {
  return static_cast<int>(getpid());
}

bool isRunning(int process_id) {
  return kill(process_id, 0) == 0 || errno != ESRCH;
}

int processorCount() {
  return std::max(1, static_cast<int>(usableProcessors().size()));
}

struct ChildProgram::State {
  pid_t id = -1;
  std::optional<int> status;

  void note(int wait_status) { status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status); }
};

ChildProgram::ChildProgram(const std::vector<std::string>& arguments, int share, int shares) : state_(std::make_unique<State>()) {
  const Share limited(share, shares);
  std::vector<std::string> texts = {"vorin-stylize"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  std::transform(texts.begin(), texts.end(), std::back_inserter(pointers), [](std::string& text) { return text.data(); });
  pointers.push_back(nullptr);
  // PoCL counts all processors of the machine, whatever this process may use.
  std::string threads = "POCL_MAX_PTHREAD_COUNT=" + std::to_string(limited.processors());
  std::vector<char*> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    environment.push_back(*entry);
  }
  if (limited.processors() > 0) {
    environment.push_back(threads.data());
  }
  environment.push_back(nullptr);
  // A group of its own: Ctrl-C at a terminal goes to this process alone, which passes it on.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int error = posix_spawn(&state_->id, "/proc/self/exe", nullptr, &attributes, pointers.data(), environment.data());
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    throw Error(ErrorKind::kInputOutput,
                "another process cannot be started (" + std::generic_category().message(error) + "): use fewer --workers");
  }
}

ChildProgram::~ChildProgram() {
  cancel();
  static_cast<void>(exitStatus());
}

bool ChildProgram::hasEnded() {
  int status = 0;
  if (!state_->status && waitpid(state_->id, &status, WNOHANG) == state_->id) {
    state_->note(status);
  }
  return state_->status.has_value();
}

int ChildProgram::exitStatus() {
  int status = 0;
  while (!state_->status) {
    if (waitpid(state_->id, &status, 0) == state_->id) {
      state_->note(status);
    } else if (errno != EINTR) {
      state_->status = 127;
    }
  }
  return *state_->status;
}

void ChildProgram::cancel() {
  if (!state_->status) {
    kill(state_->id, SIGTERM);
  }
}

} // namespace vorin::base
