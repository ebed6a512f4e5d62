// Changes the process's environment for tests, and restores it: environment variables, the log switch, folders of their own.
#pragma once

#include "support/system.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vorin::tests {

namespace fs = std::filesystem;

// Sets an environment variable, or removes it (no value), until the end of the scope.
class ScopedVariable {
public:
  ScopedVariable(std::string name, const std::optional<std::string>& value);
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
  std::string name_;
  std::optional<std::string> before_;
};

// Removes a folder with all that it holds, also files that may only be read, which Windows keeps.
void removeFolder(const fs::path& folder);

// A fresh empty folder, removed with all it holds at the end of the scope.
class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return path_; }

private:
  fs::path path_;
};

// Gives the process a log switch and an application-data folder of its own. The log's state stays with the process.
class LogSetting {
public:
  explicit LogSetting(std::optional<std::uint32_t> log_switch);

  fs::path appDataFolder() const { return folder_.path(); }
  fs::path logFile() const { return folder_.path() / "temp" / "logstt.txt"; }

private:
  TemporaryFolder folder_;
  Restoration app_data_;
  Restoration switch_;
};

// The folder of this program, without a separator at the end, and the path of a file there.
std::string programFolder();
std::string inProgramFolder(const std::string& name);

// A file as text, with line ends as C programs have them, and its bytes.
std::string readText(const fs::path& path);
std::string readFile(const fs::path& path);

// The names of all that a folder holds; and the files below it with their contents, its folders with "(folder)".
std::set<std::string> namesIn(const fs::path& folder);
std::map<std::string, std::string> contentOf(const fs::path& folder);

// The lines of a text, without their ends.
std::vector<std::string> linesOf(const std::string& text);

// The library's lines of a log, without their common front. OpenCL implementations write to standard error too.
std::vector<std::string> logLinesOf(const std::string& log);

// Waits until the condition holds. The test fails where that takes longer than a minute.
void waitUntil(const std::function<bool()>& condition);

} // namespace vorin::tests
