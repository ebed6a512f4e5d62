// Loads the copies at run time: libvorin_stt_embedded.so is the ordinary copy; the file of that name in the folder embedded/,
// beside its private runtime, is the software copy.
#include "../library_copy.h"

#include "vorin_error.hpp"

#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <link.h>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCopyFile = "libvorin_stt_embedded.so";

std::string variable(const char* name) {
  const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
  return value != nullptr ? value : "";
}

// The folder of the program or shared library that this code is in.
fs::path ownFolder() {
  Dl_info info = {};
  link_map* module = nullptr;
  std::error_code error;
  if (dladdr1(reinterpret_cast<const void*>(&ownFolder), &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) {
    return {};
  }
  const bool in_program = module->l_name == nullptr || *module->l_name == '\0';
  return fs::canonical(in_program ? "/proc/self/exe" : module->l_name, error).parent_path();
}

// Finds a file of the copies in a build folder or an installation. Empty if there is none.
fs::path findFile(const fs::path& name) {
  const fs::path own = ownFolder();
  if (own.empty()) { // else the names would be searched for in the current folder
    return {};
  }
  for (const fs::path& folder : {own, own / "vorin-stt", own.parent_path() / "lib" / "vorin-stt"}) {
    std::error_code error;
    if (fs::exists(folder / name, error)) {
      return folder / name;
    }
  }
  return {};
}

// ---- loading ----

// A library finds its symbols in itself and what it needs, and only then in the process's global scope, where another copy of the
// runtime or of its thread library may be.
void* load(const fs::path& file, int flags = RTLD_NOW | VORIN_OWN_SYMBOLS_FIRST) {
  void* library = dlopen(file.c_str(), RTLD_LOCAL | flags);
  if (library == nullptr) {
    const char* reason = dlerror(); // NOLINT(concurrency-mt-unsafe)
    throw Error(ErrorKind::kDevice, "a library does not load: " + std::string(reason) + ": install the program again");
  }
  return library;
}

// A program may have its own std::cout in place of the C++ library's (a copy relocation), whose object then stays all zeros.
// Libraries that look in the C++ library first would crash on that object, so it is constructed here.
void makeStandardStreams() {
  void* const cxx_library = dlopen("libstdc++.so.6", RTLD_NOW | RTLD_NOLOAD);
  for (const auto& [name, stream] : {std::pair("_ZSt4cout", &std::cout), {"_ZSt4cerr", &std::cerr}, {"_ZSt4clog", &std::clog}}) {
    void* const own = cxx_library != nullptr ? dlsym(cxx_library, name) : nullptr;
    if (own != nullptr && own != stream && *static_cast<void**>(own) == nullptr) {
      new (own) std::ostream(stream->rdbuf());
    }
  }
}

template <typename Function> Function* functionOf(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

// Loads the private runtime and returns the copy of the library that uses it. The runtime would load its parts only when needed,
// bound to symbols of the global scope; loaded here, they bind to their own.
fs::path loadPrivateRuntime(std::string_view precision) {
  const fs::path folder = findFile("embedded");
  if (folder.empty()) {
    throw Error(ErrorKind::kDevice,
                "the software device is not installed: put the folder 'embedded' of the build beside the program, or use a GPU");
  }
  const fs::path runtime = precision == "bf16" ? folder / "bf16" : folder;
  const auto load_from = [](const fs::path& from, std::string_view start) {
    for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
      if (entry.path().filename().string().starts_with(start)) {
        load(entry.path());
      }
    }
  };
  load_from(runtime, "libvorin_openvino.");
  load_from(folder, "libopenvino_intel_cpu_");
  load_from(runtime, "libopenvino_ir_");
  load_from(folder, "libvorin_softgpu_openvino.");
  return runtime / kCopyFile;
}

fs::path ownLibrary(std::string_view name) {
  fs::path file = findFile(name);
  if (file.empty()) {
    throw Error(ErrorKind::kDevice, "the library " + std::string(name) + " is missing: install the program again");
  }
  return file;
}

// ---- the folder ----

// Ignores paths that are not absolute, as the XDG base directory rules demand.
fs::path cacheFolder() {
  if (const std::string cache = variable("XDG_CACHE_HOME"); cache.starts_with('/')) {
    return cache;
  }
  const std::string home = variable("HOME");
  return home.starts_with('/') ? fs::path(home) / ".cache" : fs::path();
}

Error noFolder(const std::string& reason) {
  return {ErrorKind::kInputOutput,
          "no folder for unpacked networks: " + reason + ": set XDG_CACHE_HOME to a folder that you may write to"};
}

} // namespace

fs::path writableFolder() {
  const fs::path cache = cacheFolder();
  if (cache.empty()) {
    throw noFolder("neither XDG_CACHE_HOME nor HOME names a folder");
  }
  fs::path folder = cache / "vorin-stt";
  std::error_code error;
  fs::create_directories(folder, error);
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    const bool is_home = !variable("XDG_CACHE_HOME").starts_with('/');
    throw noFolder((is_home ? "HOME leads to '" : "'") + folder.string() + (is_home ? "', which" : "'") + " cannot be made (" +
                   error.message() + ")");
  }
  if (status.st_uid != geteuid()) { // that user could replace the unpacked networks
    throw noFolder("'" + folder.string() + "' belongs to another user");
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw noFolder("'" + folder.string() + "' cannot be written to");
  }
  return folder;
}

const ClipModule& clipModule() {
  static const ClipModule& loaded = []() -> const ClipModule& {
    void* const library = load(ownLibrary("libvorin_media_clips.so"), RTLD_LAZY);
    return *reinterpret_cast<const ClipModule* (*)()>(dlsym(library, "vorin_media_clips"))();
  }();
  return loaded;
}

LibraryCopy& LibraryCopy::get(bool software, std::optional<std::string_view> wanted) {
  static std::mutex mutex;
  static std::array<LibraryCopy*, 2> copies; // ordinary, software; never deleted, since objects may outlive every scope
  const std::scoped_lock lock(mutex);
  LibraryCopy*& copy = copies[software ? 1 : 0];
  const std::string_view precision = wanted.value_or(copy != nullptr ? copy->precision() : std::string_view("f32"));
  if (software && precision != "f32" && precision != "bf16") {
    throw Error(ErrorKind::kUsage, "unknown precision '" + std::string(precision) + "': f32 or bf16");
  }
  if (copy != nullptr) {
    if (software && precision != copy->precision()) {
      throw Error(ErrorKind::kUsage, "precision " + std::string(precision) +
                                         " is not available: this process computes networks in " +
                                         std::string(copy->precision()) + "; use another process");
    }
    return *copy;
  }
  const fs::path folder = writableFolder();
  makeStandardStreams();
  void* const library = load(software ? loadPrivateRuntime(precision) : ownLibrary(kCopyFile));
  const Functions functions = {functionOf<void(const char*)>(library, "vorin_embedded_set_folder"),
                               functionOf<_VorinStatus(SttInterface**)>(library, "vorin_embedded_create"),
                               functionOf<_VorinStatus(SttInterface*)>(library, "vorin_embedded_destroy"),
                               functionOf<void(SttInterface*)>(library, "vorin_embedded_forget_frames"),
                               functionOf<std::int32_t(const SttInterface*)>(library, "vorin_embedded_work_group_edge")};
  functions.set_folder(folder.c_str());
  copy = new LibraryCopy(functions, precision);
  return *copy;
}

LibraryCopy::Object LibraryCopy::create() const {
  SttInterface* object = nullptr;
  functions_.create(&object);
  return {object, {functions_.destroy}};
}

namespace {

int kernels_state = -1; // a file that all processes that use the folder lock together; it holds "1" while there are some

bool setKernelsState(char state) {
  return pwrite(kernels_state, &state, 1, 0) == 1;
}

} // namespace

void giveKernelsAFolder() {
  constexpr int kForOwner = 0600;
  if (!variable("POCL_CACHE_DIR").empty()) {
    return;
  }
  fs::path folder;
  try {
    folder = writableFolder();
  } catch (const Error&) { // reported when it is needed
    return;
  }
  const fs::path kernels = folder / "pocl";
  std::error_code ignored;
  kernels_state = open((folder / "pocl.state").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kForOwner);
  if (kernels_state >= 0 && flock(kernels_state, LOCK_EX | LOCK_NB) == 0) { // no other process uses the folder
    char state = '0';
    if (pread(kernels_state, &state, 1, 0) == 1 && state == '1') {
      fs::remove_all(kernels, ignored);
    }
    for (fs::directory_iterator entry(kernels, ignored), end; !ignored && entry != end; entry.increment(ignored)) {
      if (entry->path().filename().string().starts_with("tempfile_")) { // two a process, which PoCL leaves there
        fs::remove(entry->path(), ignored);
      }
    }
    static_cast<void>(setKernelsState('1'));
  }
  fs::create_directory(kernels, ignored);
  fs::permissions(kernels, fs::perms::owner_all, ignored); // programs lie there
  if (kernels_state >= 0 && flock(kernels_state, LOCK_SH) == 0 && fs::is_directory(kernels, ignored)) {
    static_cast<void>(setKernelsState('1'));      // again: another process may have noted its good end meanwhile
    setenv("POCL_CACHE_DIR", kernels.c_str(), 1); // NOLINT(concurrency-mt-unsafe): there are no other threads
  }
}

void noteGoodEnd() {
  if (kernels_state >= 0 && flock(kernels_state, LOCK_EX | LOCK_NB) == 0) { // the last one
    static_cast<void>(setKernelsState('0'));
  }
}

bool mayHaveGpu() {
  std::error_code error;
  const fs::directory_iterator devices("/sys/bus/pci/devices", error);
  if (error || standInsAreActive()) {
    return true;
  }
  for (const fs::directory_entry& device : devices) {
    std::string device_class;
    std::ifstream(device.path() / "class") >> device_class;
    if (device_class.starts_with("0x03")) { // display controller
      return true;
    }
  }
  return false;
}

bool standInsAreActive() {
  return variable("VORIN_SOFTGPU") == "1";
}

// scripts/with-softgpu puts the folder of the stand-ins' runtime first into the variable.
bool standInsComputeIn(std::string_view precision) {
  const std::string folders = variable("LD_LIBRARY_PATH");
  return !std::string_view(folders)
              .substr(0, folders.find(':'))
              .ends_with(precision == "f32" ? "/softgpu/runtime-bf16" : "/softgpu/runtime");
}

bool softwareDeviceIsInstalled(std::string_view precision) {
  return !findFile(fs::path("embedded") / (precision == "f32" ? "" : precision) / kCopyFile).empty();
}

bool softwareNeedsOwnProcess() {
  return false;
}

const char* filterAdvice() {
  return "check that PoCL (pocl-opencl-icd) is installed, and that $HOME, or the folder in POCL_CACHE_DIR, is writable";
}

int runAsSoftwareDevice(Precision /*precision*/, const std::string& /*reason*/) {
  throw std::logic_error("the software device works inside the process on this system");
}

} // namespace vorin::media
