#include "support/test_environment.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vorin::tests {
namespace {

void setVariable(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1); // NOLINT(concurrency-mt-unsafe): the tests run on one thread
  } else {
    ::unsetenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
  }
}

std::filesystem::path makeTemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vorin-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder " + pattern);
  }
  return pattern;
}

std::optional<std::string> text(std::optional<std::uint32_t> number) {
  return number ? std::optional<std::string>(std::to_string(*number)) : std::nullopt;
}

} // namespace

ScopedVariable::ScopedVariable(std::string name, const std::optional<std::string>& value) : name_(std::move(name)) {
  if (const char* before = std::getenv(name_.c_str())) { // NOLINT(concurrency-mt-unsafe)
    before_ = before;
  }
  setVariable(name_, value);
}

ScopedVariable::~ScopedVariable() {
  setVariable(name_, before_);
}

TemporaryFolder::TemporaryFolder() : path_(makeTemporaryFolder()) {}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

LogSetting::LogSetting(std::optional<std::uint32_t> log_switch)
    : app_data_("XDG_DATA_HOME", folder_.path().string()), switch_("VORIN_DUMP_ST_LOG", text(log_switch)) {}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

} // namespace vorin::tests
