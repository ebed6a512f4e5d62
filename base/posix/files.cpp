#include "../files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vorin::base {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kReadableAndWritable = 0666; // less the umask

// One folder for each folder of files: the name is the whole path, with "%" for the character that a name cannot hold.
std::string nameOf(const fs::path& folder) {
  std::string name = folder.string();
  std::replace(name.begin(), name.end(), '/', '%');
  return name;
}

} // namespace

std::FILE* makeNewFile(const fs::path& file) {
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadableAndWritable);
  if (descriptor < 0) {
    return nullptr;
  }
  std::FILE* stream = fdopen(descriptor, "wb");
  if (stream == nullptr) {
    close(descriptor);
  }
  return stream;
}

bool makeDurable(std::FILE* file) {
  return fsync(fileno(file)) == 0;
}

void removeFile(const char* file) {
  unlink(file);
}

void renameFile(const fs::path& from, const fs::path& to, std::error_code& error) {
  fs::rename(from, to, error);
}

void removeAll(const fs::path& path, std::error_code& error) {
  fs::remove_all(path, error);
}

bool isReservedFileName(const std::string& /*name*/) {
  return false;
}

fs::path programFolder() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path();
}

bool isWritable(const fs::path& folder) {
  return access(folder.c_str(), W_OK) == 0;
}

bool isStandardInput(const fs::path& file) {
  struct stat input = {};
  struct stat named = {};
  return fstat(STDIN_FILENO, &input) == 0 && stat(file.c_str(), &named) == 0 && input.st_dev == named.st_dev &&
         input.st_ino == named.st_ino;
}

fs::file_time_type lastUse(const fs::path& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) {
    return fs::file_time_type::min();
  }
  const auto timeOf = [](const timespec& time) {
    const auto since_1970 = std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    return fs::file_time_type::clock::from_sys(std::chrono::sys_time<std::chrono::nanoseconds>(since_1970));
  };
  return std::max(timeOf(status.st_atim), timeOf(status.st_mtim));
}

void touchFolder(const fs::path& folder) {
  std::error_code ignored;
  fs::last_write_time(folder, fs::file_time_type::clock::now(), ignored);
}

// Ignores paths that are not absolute, as the XDG base directory rules demand.
std::optional<fs::path> userCacheFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  if (cache != nullptr && *cache == '/') {
    return cache;
  }
  const char* home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? std::optional(fs::path(home) / ".cache") : std::nullopt;
}

std::optional<fs::path> folderOfLinkTo(const fs::path& file) {
  std::error_code error;
  const fs::path target = fs::canonical(file, error);
  const std::optional<fs::path> cache = userCacheFolder();
  if (error || !cache) {
    return std::nullopt;
  }
  const fs::path folder = *cache / "vorin-stt" / "linked" / nameOf(target.parent_path());
  fs::create_directories(folder, error);
  const fs::path link = folder / file.filename();
  if (fs::read_symlink(link, error) != target) {
    fs::remove(link, error);
    fs::create_symlink(target, link, error);
  }
  return fs::exists(link, error) && isWritable(folder) ? std::optional(folder) : std::nullopt;
}

std::optional<std::string> narrowText(const fs::path& path) {
  return path.string();
}

FileLock::FileLock(const fs::path& file, bool waits)
    : descriptor_(open(file.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, kReadableAndWritable)) {
  int result = 0;
  do {
    result = descriptor_ < 0 ? 0 : flock(descriptor_, LOCK_EX | (waits ? 0 : LOCK_NB));
  } while (result != 0 && errno == EINTR);
  is_taken_ = result != 0 && errno == EWOULDBLOCK;
}

void FileLock::removeFile(const fs::path& file) {
  unlink(file.c_str()); // before another process could lock it
  end();
}

FileLock::~FileLock() {
  end();
}

void FileLock::end() {
  if (descriptor_ >= 0) {
    close(descriptor_);
    descriptor_ = -1;
  }
}

// The machine's, or less where the process may only have so much. Swap space counts.
std::optional<std::uint64_t> availableMemory() {
  constexpr std::uint64_t kKibibyte = 1024;
  std::ifstream lines("/proc/meminfo");
  std::uint64_t machine_bytes = 0;
  bool is_known = false;
  std::string line;
  while (std::getline(lines, line)) {
    if (line.starts_with("MemAvailable:") || line.starts_with("SwapFree:")) {
      machine_bytes += kKibibyte * std::strtoull(line.c_str() + line.find(':') + 1, nullptr, 10);
      is_known = is_known || line.starts_with("Mem");
    }
  }
  rlimit limit = {};
  std::uint64_t used_pages = 0;
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && std::ifstream("/proc/self/statm") >> used_pages) {
    const std::uint64_t used_bytes = used_pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    const std::uint64_t own_bytes = limit.rlim_cur - std::min<std::uint64_t>(used_bytes, limit.rlim_cur);
    return is_known ? std::min(machine_bytes, own_bytes) : own_bytes;
  }
  return is_known ? std::optional(machine_bytes) : std::nullopt;
}

// ---- Sums ----

namespace {

void require(int result) {
  if (result != 1) {
    throw Error(ErrorKind::kInputOutput, "no SHA-256 sum: libcrypto fails; reinstall OpenSSL's library");
  }
}

} // namespace

struct Sha256::State {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  require(EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr));
}

Sha256::~Sha256() = default;

void Sha256::add(std::span<const std::uint8_t> bytes) {
  require(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()));
}

std::string Sha256::hexadecimal() {
  std::array<std::uint8_t, 32> sum{};
  require(EVP_DigestFinal_ex(state_->context.get(), sum.data(), nullptr));
  return hexadecimalText(sum);
}

} // namespace vorin::base
