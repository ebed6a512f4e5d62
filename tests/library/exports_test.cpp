// The one failure of the C door that a test has to bring about: no memory for the handle.
#include "core/log.h"
#include "support/test_environment.h"
#include "vorin_stt.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {
bool refuse_handles = false;
}

extern "C" {
void* __real_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier): the linker's names
void* __wrap_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size) {
  return refuse_handles && size == 8 ? nullptr : __real_malloc(size);
}
}

namespace vorin {
namespace {

TEST(CreateWithoutMemory, FailsWritesNothingAndLogsNothing) {
  const tests::LogSetting setting(1);
  int anything = 0;
  const auto untouched = reinterpret_cast<VorinSttHandle>(&anything);
  VorinSttHandle handle = untouched;
  tests::DebuggerOutput output;
  refuse_handles = true;
  const _VorinStatus status = vorin_SttCreate(&handle);
  refuse_handles = false;
  EXPECT_EQ(output.take(), "");
  EXPECT_EQ(status, VORIN_STATUS_FAILED);
  EXPECT_EQ(handle, untouched);
}

} // namespace
} // namespace vorin
