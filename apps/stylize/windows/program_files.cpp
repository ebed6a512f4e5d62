#include "../program_files.h"

#include "module_path.h"
#include "software_folder.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <windows.h>

namespace vorin::stylize {
namespace {

// The lock that is the turn lies far behind the file's end: locked bytes are out of bounds for every other reader.
OVERLAPPED lockPlace() {
  OVERLAPPED place = {};
  place.OffsetHigh = 0x40000000;
  return place;
}

HANDLE handleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(
      _get_osfhandle(descriptor)); // NOLINT(performance-no-int-to-ptr): the library has them as numbers
}

// That of the program itself, also for its copy beside a software device's libraries.
std::filesystem::path programFile() {
  const std::filesystem::path file = modulePath(nullptr);
  const std::filesystem::path two_up = file.parent_path().parent_path();
  return two_up.filename() == kSoftwareFolder ? two_up.parent_path() / file.filename() : file;
}

} // namespace

std::filesystem::path programFolder() {
  return programFile().parent_path();
}

bool isWritable(const std::filesystem::path& folder) {
  constexpr int kWritability = 2;
  return _waccess(folder.c_str(), kWritability) == 0;
}

// A link takes a right that few users have.
std::optional<std::filesystem::path> folderOfLinkTo(const std::filesystem::path& /*file*/) {
  return std::nullopt;
}

std::optional<std::string> narrowText(const std::filesystem::path& path) {
  const std::wstring wide = path.wstring();
  const bool is_utf8 = GetACP() == CP_UTF8; // for which the system takes other flags, and lacks nothing
  const DWORD flags = is_utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  BOOL lacks_some = FALSE;
  BOOL* const lacks = is_utf8 ? nullptr : &lacks_some;
  const int length = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_ACP, flags, wide.data(), length, nullptr, 0, nullptr, lacks);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, flags, wide.data(), length, text.data(), bytes, nullptr, lacks);
  return lacks_some != FALSE || (bytes == 0 && length != 0) ? std::nullopt : std::optional(text);
}

Turn::Turn() : program_(-1) {
  if (_wsopen_s(&program_, programFile().c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT, _SH_DENYNO, 0) == 0) {
    OVERLAPPED place = lockPlace();
    LockFileEx(handleOf(program_), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
  }
}

Turn::~Turn() {
  if (program_ >= 0) {
    OVERLAPPED place = lockPlace();
    UnlockFileEx(handleOf(program_), 0, 1, 0, &place);
    _close(program_);
  }
}

} // namespace vorin::stylize
