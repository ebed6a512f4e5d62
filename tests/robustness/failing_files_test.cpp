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

// A file that opens and cannot be read (EIO), or one that takes no byte (ENOSPC) but has its name.
const char* orBroken(const char* path, bool is_read) {
  if (fault != kOpensBroken || !isDue(path)) {
    return path;
  }
  if (!is_read) {
    close(creat(path, 0600));
  }
  return is_read ? "/proc/self/mem" : "/dev/full";
}

const char* orBroken(const char* path, int& flags) {
  const char* const opened = orBroken(path, (flags & O_ACCMODE) == O_RDONLY);
  flags &= opened == path ? ~0 : O_ACCMODE | O_CLOEXEC;
  return opened;
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

} // namespace

// Functions in front of the C library's, for shared libraries too.
#define IN_FRONT_OF(result, failed, name, parameters, ...)                                                                       \
  extern "C" [[gnu::visibility("default")]] result front_##name parameters __asm__(#name);                                       \
  result front_##name parameters {                                                                                               \
    return call<result>(#name, failed, __VA_ARGS__);                                                                             \
  }
IN_FRONT_OF(int, -1, open, (const char* path, int flags, mode_t mode), orBroken(path, flags), flags, mode)
IN_FRONT_OF(int, -1, open64, (const char* path, int flags, mode_t mode), orBroken(path, flags), flags, mode)
IN_FRONT_OF(std::FILE*, nullptr, fopen, (const char* path, const char* mode), orBroken(path, *mode == 'r'), mode)
IN_FRONT_OF(std::FILE*, nullptr, fopen64, (const char* path, const char* mode), orBroken(path, *mode == 'r'), mode)
IN_FRONT_OF(int, -1, access, (const char* path, int kind), path, kind)
IN_FRONT_OF(int, -1, mkdir, (const char* path, mode_t mode), path, mode)
IN_FRONT_OF(int, -1, rename, (const char* path, const char* to), path, to)
IN_FRONT_OF(int, -1, link, (const char* path, const char* to), path, to)
IN_FRONT_OF(int, -1, unlink, (const char* path), path)
IN_FRONT_OF(int, -1, remove, (const char* path), path)

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
