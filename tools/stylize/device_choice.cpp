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

} // namespace

ChosenDevice::ChosenDevice(DeviceWish wish) : wish_(wish) {
  const bool active = isSoftwareDeviceActive();
  if (wish == DeviceWish::kSoftware && !active) {
    throw RestartOnSoftwareDevice({});
  }
  const std::vector<Gpu> gpus = stylizer_.gpus();
  const auto gpu = gpuFor(requestedKind(wish), gpus);
  if (!gpu && active && gpus.empty()) {
    throw Failure(ExitStatus::kDevice, "the software device does not start: build it again");
  }
  if (!gpu && wish == DeviceWish::kAuto) {
    throw RestartOnSoftwareDevice("no GPU found: going on with the software device, which is slower");
  }
  if (!gpu) {
    throw noSuchGpu(requestedKind(wish), gpus);
  }
  stylizer_.selectGpu(requestedKind(wish));
  name_ = active ? "software device (" + gpu->name + ")" : gpu->name;
}

Drawing ChosenDevice::draw(const cv::Mat& photo_bgr, const Manner& manner) {
  if (manner.style->isNeural()) {
    Stylizer stylizer;
    stylizer.selectGpu(requestedKind(wish_));
    return stylizer.drawNeural(photo_bgr, manner);
  }
  prepareFilter(*manner.style);
  return stylizer_.drawFiltered(photo_bgr, manner);
}

void ChosenDevice::prepareClip(const Manner& manner) {
  if (!manner.style->isNeural()) {
    prepareFilter(*manner.style);
  }
}

void ChosenDevice::prepareFilter(const Style& style) {
  if (stylizer_.prepareFilter(style)) {
    return;
  }
  if (isSoftwareDeviceActive()) {
    throw Failure(ExitStatus::kDevice, std::string("the software device does not draw in this style: ") + filterAdvice());
  }
  if (wish_ == DeviceWish::kAuto) {
    throw RestartOnSoftwareDevice("the GPU '" + name_ + "' does not draw: going on with the software device, which is slower");
  }
  throw Failure(ExitStatus::kDevice,
                "the GPU '" + name_ + "' does not draw: install its OpenCL driver, or use --device software");
}

} // namespace vorin::stylize
