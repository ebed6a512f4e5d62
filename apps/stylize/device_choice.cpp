#include "device_choice.h"

#include "exit_status.h"
#include "software_device.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vorin::stylize {
namespace {

constexpr std::array kDeviceWishes = {
    NamedDeviceWish{"auto", DeviceWish::kAuto},
    NamedDeviceWish{"integrated", DeviceWish::kIntegrated},
    NamedDeviceWish{"discrete", DeviceWish::kDiscrete},
    NamedDeviceWish{"software", DeviceWish::kSoftware},
};

SttDeviceKind requestedKind(DeviceWish wish) {
  switch (wish) {
  case DeviceWish::kIntegrated:
    return SttDeviceIntegratedGpu;
  case DeviceWish::kDiscrete:
    return SttDeviceDiscreteGpu;
  case DeviceWish::kAuto:
  case DeviceWish::kSoftware:
    break;
  }
  return SttDeviceAnyGpu;
}

// The GPU that the library takes for a request: the last one of the kind, an integrated one where any will do.
std::optional<Gpu> gpuFor(SttDeviceKind kind, const std::vector<Gpu>& gpus) {
  if (kind == SttDeviceAnyGpu) {
    const auto integrated = gpuFor(SttDeviceIntegratedGpu, gpus);
    return integrated ? integrated : gpuFor(SttDeviceDiscreteGpu, gpus);
  }
  const auto gpu = std::find_if(gpus.rbegin(), gpus.rend(), [&](const Gpu& candidate) { return candidate.kind == kind; });
  return gpu == gpus.rend() ? std::nullopt : std::optional(*gpu);
}

} // namespace

std::span<const NamedDeviceWish> deviceWishes() {
  return kDeviceWishes;
}

std::string_view kindName(SttDeviceKind kind) {
  return kind == SttDeviceDiscreteGpu ? "discrete" : "integrated";
}

namespace {

// Where there is a GPU at all, it is of the other kind.
Failure noSuchGpu(SttDeviceKind kind, const std::vector<Gpu>& gpus) {
  const std::string others = gpus.empty() ? "nor any other" : "only of the kind " + std::string(kindName(gpus.front().kind));
  return {ExitStatus::kDevice, "there is no GPU of the kind " + std::string(kindName(kind)) + " here, " + others +
                                   ": see 'vorin-stylize devices', or leave --device out"};
}

std::string_view nameOf(DeviceWish wish) {
  return std::find_if(kDeviceWishes.begin(), kDeviceWishes.end(), [&](const auto& row) { return row.wish == wish; })->name;
}

std::string reasonFor(DeviceWish wish, const Gpu& gpu, const std::vector<Gpu>& gpus) {
  const auto of_its_kind = std::count_if(gpus.begin(), gpus.end(), [&](const Gpu& other) { return other.kind == gpu.kind; });
  std::string reason;
  if (wish != DeviceWish::kAuto) {
    reason = "asked for by --device " + std::string(nameOf(wish));
  } else if (gpus.size() == 1) {
    return "the only GPU";
  } else {
    reason = std::string("a GPU of the kind ").append(kindName(gpu.kind));
    reason += gpu.kind == SttDeviceIntegratedGpu ? " goes before others" : ", and there is no integrated one";
  }
  return reason + (of_its_kind > 1 ? ", the last of " + std::to_string(of_its_kind) + " of its kind" : "");
}

} // namespace

ChosenDevice::ChosenDevice(DeviceWish wish) : wish_(wish) {
  const bool active = isSoftwareDeviceActive();
  if (wish == DeviceWish::kSoftware && !active) {
    throw RestartOnSoftwareDevice("asked for by --device software");
  }
  const std::vector<Gpu> gpus = stylizer_.gpus();
  const auto gpu = gpuFor(requestedKind(wish), gpus);
  if (!gpu && active && gpus.empty()) {
    throw Failure(ExitStatus::kDevice, "the software device does not start: build it again");
  }
  if (!gpu && wish == DeviceWish::kAuto) {
    throw RestartOnSoftwareDevice("no GPU found; this machine's processor draws, which is slower");
  }
  if (!gpu) {
    throw noSuchGpu(requestedKind(wish), gpus);
  }
  stylizer_.selectGpu(requestedKind(wish));
  name_ = active ? "software device (" + gpu->name + ")" : gpu->name;
  reason_ = active ? softwareDeviceReason() : reasonFor(wish, *gpu, gpus);
}

Drawing ChosenDevice::draw(const cv::Mat& photo_bgr, const Manner& manner) {
  prepare(*manner.style);
  if (!manner.style->isNeural()) {
    return stylizer_.drawFiltered(photo_bgr, manner);
  }
  if (neural_ == nullptr || !neural_->isFreeFor(photo_bgr, manner)) {
    neural_.reset(); // before the next one takes memory
    neural_ = std::make_unique<Stylizer>();
    neural_->selectGpu(requestedKind(wish_));
  }
  try {
    return neural_->drawNeural(photo_bgr, manner);
  } catch (...) {
    neural_.reset(); // whatever state it is in
    throw;
  }
}

void ChosenDevice::prepare(const Style& style) {
  if (style.isNeural() || prepared_ == &style || stylizer_.prepareFilter(style)) {
    prepared_ = style.isNeural() ? prepared_ : &style;
    return;
  }
  if (isSoftwareDeviceActive()) {
    throw Failure(ExitStatus::kDevice, std::string("the software device does not draw in this style: ") + filterAdvice());
  }
  if (wish_ == DeviceWish::kAuto) {
    throw RestartOnSoftwareDevice("the GPU '" + name_ + "' does not draw; this machine's processor does, which is slower");
  }
  throw Failure(ExitStatus::kDevice,
                "the GPU '" + name_ + "' does not draw: install its OpenCL driver, or use --device software");
}

} // namespace vorin::stylize
