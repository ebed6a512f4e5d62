// Folders and files of Windows, by the calls for narrow text except where the system returns wide names.
#include "platform/platform.h"

#include <direct.h>
#include <io.h>
#include <shlobj.h>
#include <windows.h>

namespace vorin::platform {
namespace {

constexpr int kExistence = 0; // modes of _access
constexpr int kWritability = 2;

} // namespace

const char kPathSeparator = '\\';
const char* const kLastResortFolder = "c:\\temp";

std::optional<std::string> localAppDataFolder() {
  char folder[MAX_PATH] = {};
  if (::SHGetSpecialFolderPathA(nullptr, folder, CSIDL_LOCAL_APPDATA, TRUE) == FALSE) {
    return std::nullopt;
  }
  return folder;
}

std::optional<std::string> executableFolder() {
  wchar_t path[MAX_PATH] = {};
  if (::GetModuleFileNameW(nullptr, path, MAX_PATH) == 0) {
    return std::nullopt;
  }
  const std::wstring wide(path, ::wcsnlen(path, MAX_PATH));
  return toNarrow(wide.substr(0, wide.find_last_of(L"\\/"))); // cut first: a narrow character may hold the byte of a "\"
}

bool isFolder(const std::string& path) {
  // Does what _stat of the current C runtime does. MinGW links an older one, whose _stat finds no folder under a name that ends
  // in a separator; the log uses such a name, and would stay off once the folder exists.
  const DWORD attributes = ::GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool makeFolder(const std::string& path) {
  return ::_mkdir(path.c_str()) == 0;
}

bool isOwnFolder(const std::string& path) {
  return makeFolder(path) || isFolder(path);
}

bool exists(const std::string& path) {
  return ::_access(path.c_str(), kExistence) == 0;
}

bool canCreateAndDelete(const std::string& path) {
  HANDLE file =
      ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  ::CloseHandle(file);
  return ::DeleteFileA(path.c_str()) != FALSE;
}

std::FILE* createBinary(const std::string& path) {
  return std::fopen(path.c_str(), "wb");
}

bool isWritable(const std::wstring& path) {
  return ::_waccess(path.c_str(), kWritability) == 0;
}

std::FILE* openBinaryForReading(const std::wstring& path) {
  return ::_wfopen(path.c_str(), L"rb");
}

} // namespace vorin::platform
