#include "support/system.h"

#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <mutex>
#include <stdexcept>
#include <vector>
#include <windows.h>

namespace vorin::tests {
namespace {

using Bytes = std::vector<BYTE>;

struct RegistryValue {
  DWORD type = REG_NONE; // REG_NONE: no such value
  Bytes content;
};

// Writes a value of the registry, or removes it, and puts back what was there.
class ScopedRegistryValue {
public:
  ScopedRegistryValue(HKEY root, const std::string& key, std::string name, const RegistryValue& value) : name_(std::move(name)) {
    if (RegCreateKeyExA(root, key.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key_, nullptr) != ERROR_SUCCESS) {
      throw std::runtime_error("cannot open the registry's " + key);
    }
    DWORD size_bytes = 0;
    if (RegQueryValueExA(key_, name_.c_str(), nullptr, &before_.type, nullptr, &size_bytes) == ERROR_SUCCESS) {
      before_.content.resize(size_bytes);
      RegQueryValueExA(key_, name_.c_str(), nullptr, nullptr, before_.content.data(), &size_bytes);
    } else {
      before_ = {};
    }
    write(value);
  }
  ~ScopedRegistryValue() {
    write(before_);
    RegCloseKey(key_);
  }
  ScopedRegistryValue(const ScopedRegistryValue&) = delete;
  ScopedRegistryValue& operator=(const ScopedRegistryValue&) = delete;

private:
  void write(const RegistryValue& value) {
    if (value.type == REG_NONE) {
      RegDeleteValueA(key_, name_.c_str());
    } else {
      RegSetValueExA(key_, name_.c_str(), 0, value.type, value.content.data(), static_cast<DWORD>(value.content.size()));
    }
  }

  HKEY key_ = nullptr;
  std::string name_;
  RegistryValue before_;
};

constexpr DWORD kPrintedText = 0x40010006; // DBG_PRINTEXCEPTION_C: length with the NUL, text

std::mutex guard;
std::string collected;
void* handler = nullptr;

// OutputDebugString raises an exception that a debugger would catch. This handler in front of all others reads its text instead,
// and reports the exception as handled.
LONG CALLBACK collect(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kPrintedText || record.NumberParameters < 2) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const std::lock_guard<std::mutex> lock(guard);
  collected += reinterpret_cast<const char*>(record.ExceptionInformation[1]); // NOLINT(performance-no-int-to-ptr): as documented
  return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

const char* const kTemporaryFolderVariable = "TMP";
const bool kEncodesAv1 = false;

void setVariable(const std::string& name, const std::optional<std::string>& value) {
  SetEnvironmentVariableA(name.c_str(), value ? value->c_str() : nullptr);
  _putenv_s(name.c_str(), value ? value->c_str() : ""); // the C library has its own copy
}

DebuggerOutput::DebuggerOutput() {
  collected.clear();
  handler = AddVectoredExceptionHandler(1, collect);
}

std::string DebuggerOutput::take() {
  taken_ = true;
  RemoveVectoredExceptionHandler(handler);
  return std::move(collected);
}

Restoration setLogSwitch(std::optional<std::uint32_t> value) {
  RegistryValue written;
  if (value) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(&*value);
    written = {REG_DWORD, Bytes(bytes, bytes + sizeof *value)};
  }
  return std::make_shared<ScopedRegistryValue>(HKEY_LOCAL_MACHINE, "Software\\Merix\\Tolvk\\Debug", "DumpSTLog", written);
}

Restoration setAppDataFolder(const std::filesystem::path& folder) {
  const std::string text = folder.string();
  return std::make_shared<ScopedRegistryValue>(
      HKEY_CURRENT_USER, "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders", "Local AppData",
      RegistryValue{REG_SZ, Bytes(text.c_str(), text.c_str() + text.size() + 1)});
}

SystemPipe::SystemPipe() {
  constexpr unsigned kRoomBytes = 4096;
  if (_pipe(ends_, kRoomBytes, _O_BINARY | _O_NOINHERIT) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
}

SystemPipe::~SystemPipe() {
  closeWriteEnd();
  _close(ends_[0]);
}

void SystemPipe::closeWriteEnd() {
  if (ends_[1] >= 0) {
    _close(ends_[1]);
    ends_[1] = -1;
  }
}

std::filesystem::path programFile() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

bool mayWriteTo(const std::filesystem::path& folder) {
  const DWORD attributes = GetFileAttributesW(folder.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) == 0;
}

} // namespace vorin::tests
