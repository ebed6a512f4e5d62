#include "native_call.h"

#include <chrono>
#include <string>
#include <thread>
#include <unistd.h>

namespace vorin::python {
namespace {

// Python's lock guards both.
int calls_at_work = 0;
pid_t user = 0; // the process that made the first call

std::atomic<bool> is_ending = false;

const char* textOf(CallFault fault) {
  return fault == CallFault::kForked ? "this process was forked from one that had used vorin_stt, whose threads do not survive "
                                       "that: start processes by the "
                                       "method \"spawn\" of multiprocessing, or use vorin_stt in the new processes only"
                                     : "the interpreter is ending: wait for threads that use vorin_stt before the program ends";
}

} // namespace

CallError::CallError(CallFault fault) : std::runtime_error(textOf(fault)), fault_(fault) {}

AtWork::AtWork() {
  ++calls_at_work;
}

AtWork::~AtWork() {
  --calls_at_work;
}

NativeCall::Permission::Permission() {
  if (isForked()) {
    throw CallError(CallFault::kForked);
  }
  if (is_ending) {
    throw CallError(CallFault::kEnding);
  }
  user = getpid();
}

NativeCall::NativeCall() = default;

bool isForked() {
  return user != 0 && user != getpid();
}

void endCalls() {
  constexpr std::chrono::milliseconds kLook(2);
  is_ending = true;
  while (calls_at_work > 0 && !isForked()) { // a forked process has none of the threads that it counts
    const nanobind::gil_scoped_release unlocked;
    std::this_thread::sleep_for(kLook);
  }
}

const std::atomic<bool>& callsAreEnding() {
  return is_ending;
}

Turn::Turn(bool& is_taken, const char* what) : is_taken_(is_taken) {
  if (is_taken) {
    throw Error(ErrorKind::kBusy, std::string("the ") + what + " is in use by another thread: give each thread one of its own");
  }
  is_taken = true;
}

} // namespace vorin::python
