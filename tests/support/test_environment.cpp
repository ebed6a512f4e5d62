#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace vorin::tests {
namespace {

std::filesystem::path makeTemporaryFolder() {
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::filesystem::path folder = std::filesystem::temp_directory_path() / ("vorin-test-" + std::to_string(random()));
    if (std::filesystem::create_directory(folder)) {
      return folder;
    }
  }
  throw std::runtime_error("cannot make a temporary folder");
}

} // namespace

void removeFolder(const std::filesystem::path& folder, std::error_code& error) {
  for (std::filesystem::recursive_directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->is_regular_file() && !entry->is_symlink()) {
      std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_write, std::filesystem::perm_options::add, error);
    }
  }
  std::filesystem::remove_all(folder, error);
}

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
  removeFolder(path_, ignored);
}

LogSetting::LogSetting(std::optional<std::uint32_t> log_switch)
    : app_data_(setAppDataFolder(folder_.path())), switch_(setLogSwitch(log_switch)) {}

std::string programFolder() {
  return programFile().parent_path().string();
}

std::string inProgramFolder(const std::string& name) {
  return (programFile().parent_path() / name).string();
}

std::string readText(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> logLinesOf(const std::string& log) {
  const std::string front = "====== sdk: ";
  std::vector<std::string> lines;
  for (const std::string& line : linesOf(log)) {
    if (line.starts_with(front)) {
      lines.push_back(line.substr(front.size()));
    }
  }
  return lines;
}

void waitUntil(const std::function<bool()>& condition) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    ASSERT_LT(std::chrono::steady_clock::now(), give_up) << "nothing has come of it";
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

} // namespace vorin::tests
