// What becomes of the library when memory runs out: each of its own allocations fails in turn. Those of the runtimes do not, as
// their plugins end the process without memory, in initialisers and destructors. The operators are replaced for the whole
// program.
#include "host.h"

#include <gtest/gtest.h>
#include <openvino/runtime/core.hpp>

#include <cstdlib>
#include <new>

extern "C" {
extern const char __executable_start; // NOLINT(bugprone-reserved-identifier): the linker's names
extern const char etext;
}

namespace {

bool refuses_handles = false;

// Of this thread: each allocation by the program itself, not by shared libraries, lowers the count, and at 0 it fails.
thread_local int countdown = 0;

bool isInProgram(const void* address) {
  return address >= &__executable_start && address < &etext;
}

} // namespace

extern "C" {
void* __real_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier): the linker's names
void* __wrap_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size) {
  return refuses_handles && size == sizeof(void*) ? nullptr : __real_malloc(size);
}
}

// The C++ library's other operators call these.
[[gnu::noinline]] void* operator new(std::size_t size) {
  const bool counts = countdown > 0 && isInProgram(__builtin_return_address(0));
  void* const memory = counts && --countdown == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace vorin {
namespace {

using namespace tests;

TEST(WithoutMemory, TheCDoorMakesNoHandleAndLogsNothing) {
  const LogSetting setting(1);
  int anything = 0;
  const auto untouched = reinterpret_cast<VorinSttHandle>(&anything);
  VorinSttHandle handle = untouched;
  DebuggerOutput output;
  refuses_handles = true;
  const _VorinStatus status = vorin_SttCreate(&handle);
  refuses_handles = false;
  EXPECT_EQ(output.take(), "");
  EXPECT_EQ(status, VORIN_STATUS_FAILED);
  EXPECT_EQ(handle, untouched);
}

// A filter is as it was after a failure in a frame, and after one in its preparation it can be prepared again.
TEST(WithoutMemory, EachAllocationMayFailFromCreationToTheSecondFrame) {
  const ov::Core loaded; // keeps the runtime's plugins loaded
  static_cast<void>(loaded.get_available_devices());
  Sweep sweep("failing allocations");
  const TestPackage package = sweepPackage();
  for (const std::int32_t style : kAllStyles) {
    const std::string expected = Host(style, package.folder()).run();
    const auto work = [&] {
      Host host(style, package.folder());
      try {
        return host.run();
      } catch (const std::bad_alloc&) {
        if (style >= SttStyleStippling && host.hasObject()) {
          sweep.require(host.prepareAgain() && host.frames(2) == expected, "the object is spoiled");
        }
        throw;
      }
    };
    failEachStep(
        sweep, "style " + std::to_string(style), [](int number) { countdown = number; },
        [] { return std::exchange(countdown, 0) == 0; }, work,
        [&](const std::string& result) { return result.empty() || result == expected; });
  }
}

} // namespace
} // namespace vorin
