// library_copy.h: loads the copies of the style-transfer library that the project's programs and packages carry. The copies write
// into one folder of the user and nowhere else.
//
// There are two kinds. The ordinary copy works with the inference runtime and the OpenCL platforms that the process has, so with
// real GPUs. The software copy has a private runtime beside it, in which the processor stands in for the GPU, and a stand-in for
// OpenCL's GPU that it alone sees. A process may hold both, and another copy of the same runtime besides, loaded in any order:
// each has its own devices. Choosing a copy reads and writes no environment variable.
//
// On Windows there is one copy, inside the program. How a process was started decides whether it is a software device: see
// standInsAreActive.
#pragma once

#include "vorin_media.hpp"
#include "vorin_stt.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vorin::media {

class LibraryCopy {
public:
  struct Deleter {
    _VorinStatus (*destroy)(SttInterface*);
    void operator()(SttInterface* object) const { destroy(object); }
  };
  using Object = std::unique_ptr<SttInterface, Deleter>;

  // Returns the process's copy of a kind. The first call loads it, which takes a moment; it stays loaded until the process ends.
  // `wanted`: the precision that the software copy's networks compute in, "f32" or "bf16"; the ordinary copy leaves it to the
  // device. A process has one software copy, so one precision: nullopt takes that of the copy that there is, else "f32".
  // Throws Error: kDevice if the copy is not installed or does not load, or, on Windows, if `software` is set in a process that
  // is not a software device; kUsage for an unknown precision, or one other than before; kInputOutput as writableFolder does.
  // Thread-safety: any thread.
  static LibraryCopy& get(bool software, std::optional<std::string_view> wanted = std::nullopt);

  // What the software copy's networks compute in; for the ordinary copy it means nothing.
  std::string_view precision() const { return precision_; }

  // Says whether networks that are loaded from now on are kept, compiled, and those kept are used. To be called under the lock of
  // the writable folder, in front of each loading.
  void keepCompiled(bool is_kept) const;

  // Makes an object. Throws whatever SttFactory::Create throws.
  Object create() const;

  // Has the next frame of the style transfer smoothed against none. object: of this copy.
  void forgetFrames(SttInterface& object) const { functions_.forget_frames(&object); }

  // The side of the work-groups of the object's filter, in pixels; 0 before one is prepared.
  std::int32_t workGroupEdge(const SttInterface& object) const { return functions_.work_group_edge(&object); }

  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;

private:
  struct Functions {
    void (*set_folder)(const char*);
    _VorinStatus (*create)(SttInterface**);
    _VorinStatus (*destroy)(SttInterface*);
    void (*forget_frames)(SttInterface*);
    std::int32_t (*work_group_edge)(const SttInterface*);
  };
  LibraryCopy(const Functions& functions, std::string_view precision) : functions_(functions), precision_(precision) {}
  ~LibraryCopy() = default;

  Functions functions_;
  std::string precision_;
};

// The folder in which the copies unpack networks and keep compiled ones: vorin-stt in $XDG_CACHE_HOME, else in $HOME/.cache
// (Windows: in %LOCALAPPDATA%), made if it is missing. Throws Error, kInputOutput, which names the variable to set, if there is
// no such folder, if it belongs to another user, or if it cannot be written to.
std::filesystem::path writableFolder();

// ---- The cache of compiled networks in that folder; changed only under the folder's lock ----

struct NetworkCache {
  std::filesystem::path folder;
  std::uintmax_t bytes = 0;
  std::size_t networks = 0;
};
NetworkCache networkCache();

// Removes the networks that were used longest ago until the others take at most so many bytes.
void boundNetworkCache(std::uintmax_t most_bytes);

// Throws kInputOutput if the folder's disk is too full for a network that takes so many bytes in its package: the library's
// runtime might end the process there.
void requireRoomForNetwork(std::uintmax_t bytes);

// The functions of clip_module.h. The first call loads libvorin_media_clips, which lies beside the copies, for the rest of the
// process; on Windows it is linked in. Throws Error, kDevice.
struct ClipModule;
const ClipModule& clipModule();

// Gives PoCL, which runs the filters of the software device, a folder of the program's own for its compiled kernels, unless
// POCL_CACHE_DIR names one. It loads them unchecked, and a damaged file ends the process: so the folder is emptied at the next
// start if the last process that used it did not come to noteGoodEnd(). To be called before there are other threads, since it
// sets that variable. Windows has no PoCL.
void giveKernelsAFolder();
void noteGoodEnd(); // at the end of the process, however its work ended

// Whether the machine may have a GPU: false only where the system lists its display adapters and there are none, and no stand-ins
// are active. Then nobody needs to load the ordinary copy to learn that there is no GPU.
bool mayHaveGpu();

// Whether stand-ins for a GPU were made active before the process started (VORIN_SOFTGPU=1), by scripts/with-softgpu or, on
// Windows, by the program that started this one. The ordinary copy then sees them as its GPU.
bool standInsAreActive();

// False if the active stand-ins are known to compute networks in another precision.
bool standInsComputeIn(std::string_view precision);

// Whether the files of the software device for networks in that precision are installed.
bool softwareDeviceIsInstalled(std::string_view precision);

// Whether get(true, ...) needs a process that was started as a software device, and this process was not.
bool softwareNeedsOwnProcess();

// Advice for the user if the software device's filters do not work.
const char* filterAdvice();

// If softwareNeedsOwnProcess is true: runs this program again, with the same arguments, in a process that is a software
// device, and returns its exit status. reason: why that device was chosen; the new process reports it. Throws kDevice if
// the software device is not installed or does not start.
int runAsSoftwareDevice(Precision precision, const std::string& reason);

} // namespace vorin::media
