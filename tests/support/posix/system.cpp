#include "support/system.h"

#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace vorin::tests {

const char* const kTemporaryFolderVariable = "TMPDIR";
const bool kEncodesAv1 = true;

void setVariable(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1); // NOLINT(concurrency-mt-unsafe): the tests run on one thread
  } else {
    ::unsetenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
  }
}

DebuggerOutput::DebuggerOutput() {
  testing::internal::CaptureStderr();
}

std::string DebuggerOutput::take() {
  taken_ = true;
  return testing::internal::GetCapturedStderr();
}

Restoration setLogSwitch(std::optional<std::uint32_t> value) {
  const std::optional<std::string> text = value ? std::optional<std::string>(std::to_string(*value)) : std::nullopt;
  return std::make_shared<ScopedVariable>("VORIN_DUMP_ST_LOG", text);
}

Restoration setAppDataFolder(const std::filesystem::path& folder) {
  return std::make_shared<ScopedVariable>("XDG_DATA_HOME", folder.string());
}

SystemPipe::SystemPipe() {
  EXPECT_EQ(::pipe2(ends_, O_CLOEXEC), 0);
}

SystemPipe::~SystemPipe() {
  closeWriteEnd();
  ::close(ends_[0]);
}

void SystemPipe::closeWriteEnd() {
  if (ends_[1] >= 0) {
    ::close(ends_[1]);
    ends_[1] = -1;
  }
}

std::filesystem::path programFile() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

bool mayWriteTo(const std::filesystem::path& folder) {
  return ::access(folder.c_str(), W_OK) == 0;
}

} // namespace vorin::tests
