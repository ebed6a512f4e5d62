// Each operation on a file, by the library while it prepares a network or by the media library while it restyles an image, fails
// in turn: with each of three errors, or in that what it opened can be neither read nor written.
#include "host.h"
#include "support/media_way.h"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int kOpensBroken = -1;
std::atomic<int> countdown = 0;
std::atomic<int> fault = 0; // an errno, or kOpensBroken
std::atomic<bool> has_failed_to_remove = false;

// Whether this operation has to fail. Only those on files of the test and of the library count.
bool isDue(std::string_view path) {
  const auto has = [&](const char* part) { return path.find(part) != std::string_view::npos; };
  return countdown > 0 && (has("/vorin-test-") || has("vorin989") || has("cartoon") || has("/cache/")) && --countdown == 0;
}

// A file that takes no byte (ENOSPC) but has its name, or one that cannot be read (EIO).
const char* orBroken(const char* path, int& flags) {
  if (fault != kOpensBroken || !isDue(path)) {
    return path;
  }
  const bool is_read = (flags & O_ACCMODE) == O_RDONLY;
  flags &= O_ACCMODE | O_CLOEXEC;
  if (!is_read) {
    close(creat(path, 0600));
  }
  return is_read ? "/proc/self/mem" : "/dev/full";
}

template <typename Result, typename... Arguments>
Result call(std::string_view function, Result failed, const char* path, Arguments&... arguments) {
  if (fault > 0 && isDue(path)) {
    has_failed_to_remove = function == "unlink" || function == "remove";
    errno = fault;
    return failed;
  }
  return reinterpret_cast<Result (*)(const char*, Arguments...)>(dlsym(RTLD_NEXT, function.data()))(path, arguments...);
}

int descriptor(void* cookie) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie));
}

// A file whose first bytes, those of a package's directory, can be read, and no others (EIO).
std::FILE* openHalfReadable(const char* path) {
  cookie_io_functions_t functions = {};
  functions.read = [](void* cookie, char* bytes, std::size_t size) {
    const off_t left = 512 - lseek(descriptor(cookie), 0, SEEK_CUR);
    errno = EIO;
    return left <= 0 ? -1 : read(descriptor(cookie), bytes, std::min(size, static_cast<std::size_t>(left)));
  };
  functions.seek = [](void* cookie, off64_t* place, int whence) {
    *place = lseek(descriptor(cookie), *place, whence);
    return *place < 0 ? -1 : 0;
  };
  functions.close = [](void* cookie) { return close(descriptor(cookie)); };
  const std::intptr_t opened = openat(AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
  return opened < 0 ? nullptr : fopencookie(reinterpret_cast<void*>(opened), "r", functions);
}

std::FILE* openStream(const char* function, const char* path, const char* mode) {
  if (fault == kOpensBroken && *mode == 'r') {
    return isDue(path) ? openHalfReadable(path) : call<std::FILE*>(function, nullptr, path, mode);
  }
  int flags = O_WRONLY;
  return call<std::FILE*>(function, nullptr, orBroken(path, flags), mode);
}

} // namespace

// Functions in front of the C library's, for shared libraries too.
#define IN_FRONT_OF(result, name, parameters, ...)                                                                               \
  extern "C" [[gnu::visibility("default")]] result front_##name parameters __asm__(#name);                                       \
  result front_##name parameters {                                                                                               \
    return __VA_ARGS__;                                                                                                          \
  }
IN_FRONT_OF(int, open, (const char* path, int flags, mode_t mode), call("open", -1, orBroken(path, flags), flags, mode))
IN_FRONT_OF(int, open64, (const char* path, int flags, mode_t mode), call("open64", -1, orBroken(path, flags), flags, mode))
IN_FRONT_OF(std::FILE*, fopen, (const char* path, const char* mode), openStream("fopen", path, mode))
IN_FRONT_OF(std::FILE*, fopen64, (const char* path, const char* mode), openStream("fopen64", path, mode))
IN_FRONT_OF(int, access, (const char* path, int kind), call("access", -1, path, kind))
IN_FRONT_OF(int, mkdir, (const char* path, mode_t mode), call("mkdir", -1, path, mode))
IN_FRONT_OF(int, rename, (const char* path, const char* to), call("rename", -1, path, to))
IN_FRONT_OF(int, link, (const char* path, const char* to), call("link", -1, path, to))
IN_FRONT_OF(int, unlink, (const char* path), call("unlink", -1, path))
IN_FRONT_OF(int, remove, (const char* path), call("remove", -1, path))

namespace vorin {
namespace {

using namespace tests;

void sweepFiles(const char* name, const std::function<std::string()>& work,
                const std::function<bool(const std::string&)>& is_right) {
  Sweep sweep(name);
  for (const int error : {ENOSPC, EACCES, EIO, kOpensBroken}) {
    const auto arm = [&](int number) {
      has_failed_to_remove = false;
      fault = error;
      countdown = number;
    };
    const auto disarm = [] { return fault.exchange(0) != 0 && countdown.exchange(0) == 0; };
    failEachStep(sweep, "error " + std::to_string(error), arm, disarm, work, is_right);
  }
}

TEST(FailingFiles, WhileANetworkIsPrepared) {
  const TestPackage package = sweepPackage();
  const auto work = [&] { return Host(SttStyleCartoon, package.folder()).run(); };
  const std::string expected = work();
  sweepFiles("failing file operations, preparation", work,
             [&](const std::string& result) { return result.empty() || result == expected; });
  EXPECT_TRUE(unpackedNetworkFiles().empty());
}

TEST(FailingFiles, WhileAnImageIsRestyled) {
  const TestPackage package = sweepPackage();
  const TemporaryFolder folder;
  const ScopedVariable cache("XDG_CACHE_HOME", (folder.path() / "own").string());
  const fs::path input = folder.path() / "in.png";
  const fs::path output = folder.path() / "images" / "out.png";
  fs::create_directory(output.parent_path());
  media::writeChanging(input, {40, 30});
  const auto work = [&] {
    fs::remove(output);
    media::Restyler restyler(media::softwareOptions(media::Style::kCartoon, package.folder()));
    media::restyle(input, output, {}, &restyler);
    return readFile(output);
  };
  const std::string expected = work();
  sweepFiles("failing file operations, image", work, [&](const std::string& result) {
    const bool is_whole = result.empty() ? !fs::exists(output) || readFile(output) == expected : result == expected;
    return is_whole && (has_failed_to_remove || namesIn(output.parent_path()).size() <= 1);
  });
}

} // namespace
} // namespace vorin
