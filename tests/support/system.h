// The system's functions that the tests use: implemented once in posix/ and once in windows/.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace vorin::tests {

// Sets an environment variable of this process, or removes it.
void setVariable(const std::string& name, const std::optional<std::string>& value);

// The variable that names the folder for temporary files.
extern const char* const kTemporaryFolderVariable;

// Collects this process's debugger output: on standard error, or through the system's call. One object at a time.
class DebuggerOutput {
public:
  DebuggerOutput();
  ~DebuggerOutput() {
    if (!taken_) {
      take();
    }
  }
  DebuggerOutput(const DebuggerOutput&) = delete;
  DebuggerOutput& operator=(const DebuggerOutput&) = delete;

  // Returns the output since the beginning and ends the collection.
  std::string take();

private:
  bool taken_ = false;
};

// Restores the machine's settings in the destructor.
using Restoration = std::shared_ptr<void>;

// Gives the library's log switch another value, or none.
Restoration setLogSwitch(std::optional<std::uint32_t> value);

// Gives the user another folder for application data.
Restoration setAppDataFolder(const std::filesystem::path& folder);

// A pipe of the system; its ends are descriptors of the C library.
class SystemPipe {
public:
  SystemPipe();
  ~SystemPipe();
  SystemPipe(const SystemPipe&) = delete;
  SystemPipe& operator=(const SystemPipe&) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeWriteEnd();

private:
  int ends_[2] = {-1, -1};
};

// Whether this system's libav has an encoder for AV1.
extern const bool kEncodesAv1;

// The file of this program.
std::filesystem::path programFile();

// Whether this user may write to the folder.
bool mayWriteTo(const std::filesystem::path& folder);

} // namespace vorin::tests
