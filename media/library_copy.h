// library_copy.h: the style-transfer library as the programs and packages of this project carry it: copies of their own, which
// write into a folder of the user's and nowhere else.
//
// There are two kinds. The ordinary copy works with the inference runtime and the OpenCL platforms that the process has, so with
// real GPUs. The software copy has a private runtime beside it, in which the processor stands in for the GPU, and a stand-in for
// OpenCL's GPU that it alone sees. A process may hold both, and another copy of the same runtime besides, loaded in any order:
// each has its own devices. No environment variable is read or written for it.
//
// On Windows there is one copy, inside the program, and a process is a software device by the way it was started: see
// standInsAreActive.
#pragma once

#include "vorin_media.hpp"
#include "vorin_stt.h"

#include <filesystem>
#include <memory>
#include <string_view>

namespace vorin::media {

class LibraryCopy {
public:
  struct Deleter {
    _VorinStatus (*destroy)(SttInterface*);
    void operator()(SttInterface* object) const { destroy(object); }
  };
  using Object = std::unique_ptr<SttInterface, Deleter>;

  // The process's copy of a kind. The first call loads it, which takes a moment; it stays for the rest of the process.
  // `precision`: what the software copy's networks compute in, "f32" or "bf16"; the ordinary copy leaves it to the device. A
  // process has one software copy, so one precision.
  // Throws Error: kDevice where the copy is not installed or does not load, or, on Windows, where `software` is asked of a
  // process that is no software device; kUsage for another precision than those two or than before; kInputOutput as
  // writableFolder. Thread-safety: any thread.
  static LibraryCopy& get(bool software, std::string_view precision = "f32");

  // A new object. What SttFactory::Create throws leaves it.
  Object create() const;

  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;

private:
  struct Functions {
    void (*set_folder)(const char*);
    _VorinStatus (*create)(SttInterface**);
    _VorinStatus (*destroy)(SttInterface*);
  };
  explicit LibraryCopy(const Functions& functions) : functions_(functions) {}
  ~LibraryCopy() = default;

  Functions functions_;
};

// Where the copies unpack networks and keep compiled ones: vorin-stt in $XDG_CACHE_HOME, else in $HOME/.cache (Windows: in
// %LOCALAPPDATA%), made when it is missing. Throws Error, kInputOutput, which names the variable to set, where there is no such
// folder, where it belongs to another user, and where it cannot be written to.
std::filesystem::path writableFolder();

// Loads another library of the project, which lies beside the copies, for the rest of the process. Throws Error, kDevice. Not on
// Windows.
void* loadLibrary(std::string_view name);

// Whether the machine may have a GPU: false only where the system lists its display adapters and there are none, and no stand-ins
// are active. Then nobody needs to load the ordinary copy to learn that there is no GPU.
bool mayHaveGpu();

// Whether stand-ins for a GPU were made active before the process started (VORIN_SOFTGPU=1), by scripts/with-softgpu or, on
// Windows, by the program that started this one. The ordinary copy then sees them as its GPU.
bool standInsAreActive();

// False where the stand-ins that are active are known to compute networks in another precision.
bool standInsComputeIn(std::string_view precision);

// Whether the files of the software device with networks in that precision are there.
bool softwareDeviceIsInstalled(std::string_view precision);

// Whether get(true, ...) takes a process that was started as a software device, and this one was not.
bool softwareNeedsOwnProcess();

// What a user may do where the software device's filters do not work.
const char* filterAdvice();

// Where softwareNeedsOwnProcess is true: runs this program again, with the same arguments, in a process that is a software
// device, and returns its exit status. reason: why that device was taken; the process reports it. Throws kDevice where the
// software device is not installed or does not start.
int runAsSoftwareDevice(Precision precision, const std::string& reason);

} // namespace vorin::media
