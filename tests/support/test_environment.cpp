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
void removeFolder(const fs::path& folder) {
  std::error_code error; // what cannot be removed stays
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->is_regular_file() && !entry->is_symlink()) {
      fs::permissions(entry->path(), fs::perms::owner_write, fs::perm_options::add, error);
    }
  }
  fs::remove_all(folder, error);
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

TemporaryFolder::TemporaryFolder() : path_(fs::temp_directory_path() / ("vorin-test-" + std::to_string(std::random_device()()))) {
  if (!fs::create_directory(path_)) {
    throw std::runtime_error("cannot make a temporary folder");
  }
}

TemporaryFolder::~TemporaryFolder() {
  removeFolder(path_);
}

LogSetting::LogSetting(std::optional<std::uint32_t> log_switch)
    : app_data_(setAppDataFolder(folder_.path())), switch_(setLogSwitch(log_switch)) {}

std::string programFolder() {
  return programFile().parent_path().string();
}

std::string inProgramFolder(const std::string& name) {
  return (programFile().parent_path() / name).string();
}

std::string readText(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::set<std::string> namesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

std::map<std::string, std::string> contentOf(const fs::path& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    content[entry.path().lexically_relative(folder).generic_string()] =
        entry.is_directory() ? "(folder)" : readFile(entry.path());
  }
  return content;
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
