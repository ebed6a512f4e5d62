#include "../files.h"

#include "handles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <iterator>
#include <share.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
// The second needs the first.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
#include <shlobj.h>
// clang-format on

namespace vorin::base {
namespace {

namespace fs = std::filesystem;

// The locked byte lies far behind the file's end: locked bytes are out of bounds for every other reader.
OVERLAPPED lockPlace() {
  OVERLAPPED place = {};
  place.OffsetHigh = 0x40000000;
  return place;
}

constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class FileIdentity {
public:
  explicit FileIdentity(HANDLE file)
      : is_known_(GetFileType(file) == FILE_TYPE_DISK &&
                  GetFileInformationByHandleEx(file, FileIdInfo, &id_, sizeof id_) != FALSE) {}
  explicit FileIdentity(const wchar_t* file) {
    const Handle handle = fileHandle(CreateFileW(file, 0, kAnySharing, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle) {
      *this = FileIdentity(handle.get());
    }
  }

  // Of a stream that another system opened, Wine does not know the volume.
  bool operator==(const FileIdentity& other) const {
    const bool is_any_volume = id_.VolumeSerialNumber == 0 || other.id_.VolumeSerialNumber == 0;
    return is_known_ && other.is_known_ && (is_any_volume || id_.VolumeSerialNumber == other.id_.VolumeSerialNumber) &&
           std::equal(std::begin(id_.FileId.Identifier), std::end(id_.FileId.Identifier), other.id_.FileId.Identifier);
  }

private:
  FILE_ID_INFO id_ = {};
  bool is_known_ = false;
};

bool isUtf8(const std::string& name) {
  return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name.data(), static_cast<int>(name.size()), nullptr, 0) != 0;
}

// The name of a device is reserved in every folder, in either case and with any extension.
bool isDevice(const std::string& name) {
  std::string stem = name.substr(0, name.find('.'));
  stem.erase(stem.find_last_not_of(' ') + 1);
  std::transform(stem.begin(), stem.end(), stem.begin(),
                 [](char letter) { return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter; });
  constexpr std::array<std::string_view, 6> kDevices = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  if (std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end()) {
    return true;
  }
  // COM1 and its like; the digit may also be a superscript.
  const bool is_port = stem.starts_with("COM") || stem.starts_with("LPT");
  const std::string_view number = is_port ? std::string_view(stem).substr(3) : std::string_view();
  return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') || number == "\xC2\xB9" || number == "\xC2\xB2" ||
         number == "\xC2\xB3";
}

// Calls until the error is none that an open file causes, for a second.
template <typename Call> void retryWhileOpen(const Call& call, const std::error_code& error) {
  constexpr int kMostTries = 50;
  constexpr DWORD kPause_ms = 20;
  call();
  for (int i = 0; i < kMostTries && (error.value() == ERROR_SHARING_VIOLATION || error == std::errc::permission_denied); ++i) {
    Sleep(kPause_ms);
    call();
  }
}

} // namespace

// Unlike a file that the C library opens, this one can be deleted while it is open, as a cancellation does.
std::FILE* makeNewFile(const fs::path& file) {
  Handle handle = fileHandle(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!handle) {
    errno = std::error_code(static_cast<int>(GetLastError()), std::system_category()).default_error_condition().value();
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle.get()), _O_WRONLY | _O_BINARY);
  if (descriptor < 0) {
    return nullptr;
  }
  static_cast<void>(handle.release()); // the descriptor has it
  std::FILE* stream = _fdopen(descriptor, "wb");
  if (stream == nullptr) {
    _close(descriptor);
  }
  return stream;
}

bool makeDurable(std::FILE* file) {
  return _commit(_fileno(file)) == 0;
}

// A library that writes the file has opened it so that it cannot be deleted: it loses its handle first.
void removeFile(const wchar_t* file) {
  if (DeleteFileW(file) != FALSE || GetLastError() != ERROR_SHARING_VIOLATION) {
    return;
  }
  const FileIdentity wanted(file);
  // A descriptor that is not open is an invalid argument, at which a C library may end the process.
  _set_invalid_parameter_handler([](const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {});
  constexpr int kMostDescriptors = 2048;                                  // of the C library
  for (int descriptor = 3; descriptor < kMostDescriptors; ++descriptor) { // after the standard streams
    if (FileIdentity(handleOf(descriptor)) == wanted) {
      CloseHandle(handleOf(descriptor));
    }
  }
  DeleteFileW(file);
}

void renameFile(const fs::path& from, const fs::path& to, std::error_code& error) {
  retryWhileOpen(
      [&] { // the C++ library's rename says "input/output error" for a file that is open
        const bool is_renamed = MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
        error = is_renamed ? std::error_code() : std::error_code(static_cast<int>(GetLastError()), std::system_category());
      },
      error);
}

void removeAll(const fs::path& path, std::error_code& error) {
  retryWhileOpen([&] { fs::remove_all(path, error); }, error);
}

bool isReservedFileName(const std::string& name) {
  const bool loses_its_end = name.back() == '.' || name.back() == ' ';
  return loses_its_end || name.find_first_of("<>\"|?*") != std::string::npos || isDevice(name) || !isUtf8(name);
}

fs::path programFolder() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) { // else the path was cut
      path.resize(length);
      const fs::path folder = fs::path(path).parent_path();
      // A copy of the program that is a software device lies in softgpu/<runtime> of the program's folder.
      return folder.parent_path().filename() == "softgpu" ? folder.parent_path().parent_path() : folder;
    }
    path.resize(path.size() * 2);
  }
}

bool isWritable(const fs::path& folder) {
  constexpr int kWritability = 2;
  return _waccess(folder.c_str(), kWritability) == 0;
}

bool isStandardInput(const fs::path& file) {
  return FileIdentity(GetStdHandle(STD_INPUT_HANDLE)) == FileIdentity(file.c_str());
}

fs::file_time_type lastUse(const fs::path& file) {
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(file, error);
  return error ? fs::file_time_type::min() : time;
}

void touchFolder(const fs::path& folder) {
  const Handle handle = fileHandle(CreateFileW(folder.c_str(), FILE_WRITE_ATTRIBUTES, kAnySharing, nullptr, OPEN_EXISTING,
                                               FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (handle) {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    SetFileTime(handle.get(), nullptr, nullptr, &now);
  }
}

std::optional<fs::path> userCacheFolder() {
  std::array<wchar_t, MAX_PATH> folder{};
  const HRESULT result = SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder.data());
  return result == S_OK ? std::optional<fs::path>(folder.data()) : std::nullopt;
}

std::optional<fs::path> folderOfLinkTo(const fs::path& /*file*/) {
  return std::nullopt;
}

std::optional<std::string> narrowText(const fs::path& path) {
  const std::wstring wide = path.wstring();
  const bool is_utf8 = GetACP() == CP_UTF8; // has every character, and takes other flags
  const DWORD flags = is_utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  BOOL lacks_some = FALSE;
  BOOL* const lacks = is_utf8 ? nullptr : &lacks_some;
  const int length = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_ACP, flags, wide.data(), length, nullptr, 0, nullptr, lacks);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, flags, wide.data(), length, text.data(), bytes, nullptr, lacks);
  return lacks_some != FALSE || (bytes == 0 && length != 0) ? std::nullopt : std::optional(text);
}

FileLock::FileLock(const fs::path& file, bool waits) : descriptor_(-1) {
  constexpr int kFlags = _O_RDONLY | _O_CREAT | _O_BINARY | _O_NOINHERIT;
  if (_wsopen_s(&descriptor_, file.c_str(), kFlags, _SH_DENYNO, _S_IREAD | _S_IWRITE) == 0) {
    OVERLAPPED place = lockPlace();
    const DWORD flags = LOCKFILE_EXCLUSIVE_LOCK | (waits ? 0 : LOCKFILE_FAIL_IMMEDIATELY);
    const bool is_locked = LockFileEx(handleOf(descriptor_), flags, 0, 1, 0, &place) != FALSE;
    is_taken_ = !is_locked && (GetLastError() == ERROR_LOCK_VIOLATION || GetLastError() == ERROR_IO_PENDING);
  }
}

std::optional<std::uint64_t> availableMemory() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  return GlobalMemoryStatusEx(&status) != FALSE ? std::optional<std::uint64_t>(status.ullAvailPageFile) : std::nullopt;
}

void FileLock::removeFile(const fs::path& file) {
  end();
  DeleteFileW(file.c_str());
}

FileLock::~FileLock() {
  end();
}

void FileLock::end() {
  if (descriptor_ >= 0) {
    OVERLAPPED place = lockPlace();
    UnlockFileEx(handleOf(descriptor_), 0, 1, 0, &place);
    _close(descriptor_);
    descriptor_ = -1;
  }
}

// ---- Sums ----

namespace {

void require(NTSTATUS status) {
  if (status < 0) {
    throw Error(ErrorKind::kInputOutput, "no SHA-256 sum: the system's BCrypt fails; restart the system");
  }
}

} // namespace

struct Sha256::State {
  State() = default;
  ~State() {
    if (hash != nullptr) {
      BCryptDestroyHash(hash);
    }
    if (algorithm != nullptr) {
      BCryptCloseAlgorithmProvider(algorithm, 0);
    }
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  require(BCryptOpenAlgorithmProvider(&state_->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
  require(BCryptCreateHash(state_->algorithm, &state_->hash, nullptr, 0, nullptr, 0, 0));
}

Sha256::~Sha256() = default;

void Sha256::add(std::span<const std::uint8_t> bytes) {
  auto* const data = const_cast<std::uint8_t*>(bytes.data()); // only read
  require(BCryptHashData(state_->hash, data, static_cast<ULONG>(bytes.size()), 0));
}

std::string Sha256::hexadecimal() {
  std::array<std::uint8_t, 32> sum{};
  require(BCryptFinishHash(state_->hash, sum.data(), static_cast<ULONG>(sum.size()), 0));
  return hexadecimalText(sum);
}

} // namespace vorin::base
