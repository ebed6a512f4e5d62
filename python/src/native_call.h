// native_call.h: what surrounds each piece of native work. The work runs without Python's lock; it is refused in a process that
// was forked after the library had threads, which the child lacks; and the interpreter's end waits for it, since a thread that
// came back into Python later would be ended in the middle of C++ code.
#pragma once

#include "vorin_error.hpp"

#include <atomic>
#include <memory>
#include <nanobind/nanobind.h>
#include <stdexcept>
#include <utility>

namespace vorin::python {

// A fault of the call itself.
enum class CallFault { kForked, kEnding };
class CallError : public std::runtime_error {
public:
  explicit CallError(CallFault fault);
  CallFault fault() const { return fault_; }

private:
  CallFault fault_;
};

// While it lives, the interpreter's end waits. To be made and destroyed with Python's lock held. Python may give the lock to
// another thread whenever its code runs, and once the interpreter ends it does not give it back but ends the thread on the spot,
// which native functions further up its stack do not survive: this keeps the end away while such code runs below them.
class AtWork {
public:
  AtWork();
  ~AtWork();
  AtWork(const AtWork&) = delete;
  AtWork& operator=(const AtWork&) = delete;
};

// While it lives, the thread does not hold Python's lock. To be made with the lock held.
class NativeCall {
public:
  NativeCall(); // throws CallError
  NativeCall(const NativeCall&) = delete;
  NativeCall& operator=(const NativeCall&) = delete;

private:
  // Refuses; `at_work_` then ends after `unlocked_`, so with the lock held again.
  struct Permission {
    Permission();
  };

  Permission permission_;
  AtWork at_work_;
  nanobind::gil_scoped_release unlocked_;
};

// Whether the process was forked from one that had made native calls. What such calls left is then kept, not destroyed.
bool isForked();

// For destructors.
template <typename Object> void keepIfForked(std::unique_ptr<Object>& object) {
  if (isForked()) {
    static_cast<void>(object.release());
  }
}

// Refuses calls from now on and waits for those at work; true once it has begun. For the interpreter's end, with its lock held.
void endCalls();
const std::atomic<bool>& callsAreEnding();

// Destroys the object, without Python's lock where that is possible.
template <typename Object> void closeUnlocked(std::unique_ptr<Object>& object) {
  keepIfForked(object);
  std::unique_ptr<Object> doomed = std::move(object);
  if (doomed != nullptr && !callsAreEnding()) {
    const NativeCall call;
    doomed.reset();
  }
}

// Marks an object as in use for the duration of a call. Python's lock guards the flag.
class Turn {
public:
  Turn(bool& is_taken, const char* what); // throws Error, kBusy
  ~Turn() { is_taken_ = false; }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

private:
  bool& is_taken_;
};

} // namespace vorin::python
