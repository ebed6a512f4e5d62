// What becomes of the library when memory runs out: chosen allocations of the whole process, those inside the C++ library
// included, fail. A program of its own, as the operators that it replaces are everybody's.
#include "support/opencl_filter_reference.h"
#include "support/test_environment.h"
#include "vorin_stt.h"

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

// Of this thread: allocations of exactly so many bytes count, 0: all. The count goes down, and at 0 the allocation fails.
thread_local std::size_t counted_bytes = 0;
thread_local int countdown = 0;
int countdown_left = 0; // after the operation

bool of_program_only = false; // allocations from shared libraries do not count

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
  const bool counts = countdown > 0 && (counted_bytes == 0 || counted_bytes == size) &&
                      (!of_program_only || isInProgram(__builtin_return_address(0)));
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

// Whether the operation ended with an exception because the allocation of this number failed.
template <typename Operation> bool failsWithout(int number, const Operation& operation, std::size_t bytes = 0) {
  counted_bytes = bytes;
  countdown = number;
  bool failed = false;
  try {
    operation();
  } catch (const std::exception&) {
    failed = true;
  }
  countdown_left = countdown;
  countdown = 0;
  return failed;
}

class FilterWithoutMemory : public testing::TestWithParam<Filter> {};

// Of its tables' memory, that is.
TEST_P(FilterWithoutMemory, PreparesTheSizeWhenThereIsSomeAgain) {
  const Picture picture = testPicture(37, 21, 53);
  gpufilters::GpuFilterEngine engine;
  engine.Init(SttDeviceAnyGpu, SttStyleStippling, 0, 0, 0);
  ASSERT_TRUE(engine.initialised());
  const auto run = [&] {
    Picture output = plainPicture(37, 21, 0);
    EXPECT_EQ((engine.*GetParam().run)(picture.bytes.data(), output.bytes.data()), VORIN_STATUS_OK);
    return output.bytes;
  };
  const auto prepare = [&] { return (engine.*GetParam().prepare)(37, 21); };
  ASSERT_EQ(prepare(), VORIN_STATUS_OK);
  const auto expected = run();
  const std::size_t table_bytes =
      GetParam().tables == 1 ? 9 * sizeof(float) : static_cast<std::size_t>(engine.paddedWidth()) * engine.paddedHeight();
  for (int table = 1; table <= GetParam().tables; ++table) {
    ASSERT_EQ((engine.*GetParam().prepare)(5, 4), VORIN_STATUS_OK);
    ASSERT_TRUE(failsWithout(
        table, [&] { static_cast<void>(prepare()); }, table_bytes));
    ASSERT_EQ(prepare(), VORIN_STATUS_OK);
    EXPECT_EQ(run(), expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Filters, FilterWithoutMemory, testing::Values(kPencilSketch, kStippling), nameOfFilter);

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

// Only what the library itself asks for: the runtime's plugins end the process without memory, in initialisers and destructors.
TEST(WithoutMemory, ObjectsEndInAnException) {
  const ov::Core loaded; // keeps the runtime's plugins loaded
  static_cast<void>(loaded.get_available_devices());
  const auto create = [] {
    SttInterface* object = nullptr;
    SttFactory::Create(&object);
    SttFactory::Destroy(object);
  };
  create();
  of_program_only = true;
  int number = 1;
  int failures = 0;
  do {
    failures += failsWithout(number++, create) ? 1 : 0;
  } while (countdown_left == 0);
  of_program_only = false;
  EXPECT_GT(failures, 20);
}

} // namespace
} // namespace vorin
