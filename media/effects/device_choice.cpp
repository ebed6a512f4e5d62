#include "effects/library_object.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace vorin::media {
namespace {

SttDeviceKind requestedKind(Device wish) {
  switch (wish) {
  case Device::kIntegratedGpu:
    return SttDeviceIntegratedGpu;
  case Device::kDiscreteGpu:
    return SttDeviceDiscreteGpu;
  case Device::kAuto:
  case Device::kSoftware:
    break;
  }
  return SttDeviceAnyGpu;
}

std::string_view textOf(Precision precision) {
  return precision == Precision::kF32 ? "f32" : "bf16";
}

std::string kindName(SttDeviceKind kind) {
  return kind == SttDeviceDiscreteGpu ? "discrete" : "integrated";
}

// The GPU that the library selects for a request: the last one of the kind; if any kind will do, an integrated one first.
std::optional<ListedGpu> gpuFor(SttDeviceKind kind, const std::vector<ListedGpu>& gpus) {
  if (kind == SttDeviceAnyGpu) {
    const auto integrated = gpuFor(SttDeviceIntegratedGpu, gpus);
    return integrated ? integrated : gpuFor(SttDeviceDiscreteGpu, gpus);
  }
  const auto gpu = std::find_if(gpus.rbegin(), gpus.rend(), [&](const ListedGpu& candidate) { return candidate.kind == kind; });
  return gpu == gpus.rend() ? std::nullopt : std::optional(*gpu);
}

// Called when every GPU, if there is any, is of the other kind.
Error noSuchGpu(SttDeviceKind kind, const std::vector<ListedGpu>& gpus) {
  const std::string others = gpus.empty() ? "and no other" : "only " + kindName(gpus.front().kind) + " ones";
  return {ErrorKind::kDevice,
          "there is no " + kindName(kind) + " GPU here, " + others + ": see 'vorin-stylize devices', or leave --device out"};
}

std::string reasonFor(Device wish, const ListedGpu& gpu, const std::vector<ListedGpu>& gpus) {
  const auto of_its_kind =
      std::count_if(gpus.begin(), gpus.end(), [&](const ListedGpu& other) { return other.kind == gpu.kind; });
  std::string reason;
  if (wish != Device::kAuto) {
    reason = "asked for by --device " + kindName(gpu.kind);
  } else if (gpus.size() == 1) {
    return "the only GPU";
  } else {
    reason = gpu.kind == SttDeviceIntegratedGpu ? "an integrated GPU is preferred" : "a discrete GPU: there is no integrated one";
  }
  return reason + (of_its_kind > 1 ? ", the last of " + std::to_string(of_its_kind) + " of its kind" : "");
}

// Why the stand-ins are active: the reason that the parent process passed on, else the variable that activates them.
std::string standInReason() {
  const char* reason = std::getenv("VORIN_SOFTGPU_REASON"); // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
  return reason != nullptr ? reason : "made active by VORIN_SOFTGPU=1";
}

} // namespace

DeviceChoice::DeviceChoice(Device wish, std::optional<Precision> precision)
    : wish_(wish), precision_(precision), kind_(requestedKind(wish)) {
  if (wish == Device::kSoftware) {
    takeSoftware("asked for by --device software");
  } else if (wish != Device::kAuto) {
    static_cast<void>(takeGpu());
  } else if (!mayHaveGpu() || !takeGpuIfInstalled()) {
    takeSoftware("no GPU found; this machine's processor is used, which is slower");
  }
}

// False if any device may be used and there is no GPU.
bool DeviceChoice::takeGpu() {
  copy_ = &LibraryCopy::get(false);
  spare_ = std::make_unique<LibraryObject>(*copy_);
  const std::vector<ListedGpu> gpus = spare_->gpus();
  const auto gpu = gpuFor(kind_, gpus);
  if (!gpu && wish_ == Device::kAuto) {
    spare_.reset();
    return false;
  }
  if (!gpu) {
    throw noSuchGpu(kind_, gpus);
  }
  is_software_ = standInsAreActive();
  if (is_software_) {
    precision_name_ = standInsComputeIn("f32") ? "f32" : "bf16";
    if (precision_ && !standInsComputeIn(textOf(*precision_))) {
      throw Error(ErrorKind::kUsage, "precision " + std::string(textOf(*precision_)) +
                                         " is not available (the active stand-ins compute in " + std::string(precision_name_) +
                                         "): leave --precision out, or start without them");
    }
  }
  name_ = is_software_ ? "software device (" + gpu->name + ")" : gpu->name;
  reason_ = is_software_ ? standInReason() : reasonFor(wish_, *gpu, gpus);
  return true;
}

// An installation for the software device only has no inference runtime for GPUs.
bool DeviceChoice::takeGpuIfInstalled() {
  try {
    copy_ = &LibraryCopy::get(false);
  } catch (const Error& error) {
    if (error.kind() != ErrorKind::kDevice || !softwareDeviceIsInstalled(textOf(precision_.value_or(Precision::kF32)))) {
      throw;
    }
    return false;
  }
  return takeGpu();
}

void DeviceChoice::takeSoftware(const std::string& reason) {
  if (softwareNeedsOwnProcess()) {
    throw NeedsOwnProcess(reason);
  }
  copy_ = &LibraryCopy::get(true, precision_ ? std::optional(textOf(*precision_)) : std::nullopt);
  precision_name_ = precision_ ? textOf(*precision_) : copy_->precision();
  kind_ = SttDeviceAnyGpu;
  is_software_ = true;
  spare_ = std::make_unique<LibraryObject>(*copy_);
  const auto gpu = gpuFor(kind_, spare_->gpus());
  if (!gpu) {
    throw Error(ErrorKind::kDevice, "the software device does not start: install or build it again");
  }
  name_ = "software device (" + gpu->name + ")";
  reason_ = standInsAreActive() ? standInReason() : reason;
}

std::unique_ptr<LibraryObject> DeviceChoice::makeObject() {
  std::unique_ptr<LibraryObject> object = spare_ != nullptr ? std::move(spare_) : std::make_unique<LibraryObject>(*copy_);
  object->selectGpu(kind_);
  return object;
}

void DeviceChoice::replaceForFilter(Style style) {
  if (is_software_) {
    throw Error(ErrorKind::kDevice,
                "the software device does not run the style '" + std::string(nameOf(style)) + "': " + filterAdvice());
  }
  const bool software_has_filters = !softwareNeedsOwnProcess();
  if (wish_ != Device::kAuto || !software_has_filters) {
    throw Error(ErrorKind::kDevice, "the GPU '" + name_ + "' does not run filters: install its OpenCL driver" +
                                        (software_has_filters ? ", or use --device software" : ""));
  }
  takeSoftware("the GPU '" + name_ + "' does not run filters; this processor is used, which is slower");
}

} // namespace vorin::media
