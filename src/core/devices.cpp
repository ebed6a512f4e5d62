#include "core/devices.h"

#include "core/log.h"
#include "core/vendor.h"

#include <openvino/runtime/core.hpp>

namespace vorin {
namespace {

constexpr std::uint64_t kDiscreteAboveBytes = 0x20000000; // 512 MiB

} // namespace

SttDeviceKind classifyDevice(const std::string& name, const std::string& full_name) {
  if (name.starts_with("CPU")) {
    return SttDeviceCpu;
  }
  if (name.starts_with("GPU")) {
    return full_name.find("dGPU") != std::string::npos ? SttDeviceDiscreteGpu : SttDeviceIntegratedGpu;
  }
  return name.starts_with("GNA") ? SttDeviceGna : SttDeviceOther;
}

void DeviceTable::add(const ListedDevice& device) {
  logTexts(sttLogInfo, "Device %s: %s", {device.name, device.full_name});
  if (count_ >= kCapacity) {
    return;
  }
  SttDeviceRecord& record = records_[static_cast<std::size_t>(count_++)];
  record.kind = classifyDevice(device.name, device.full_name);
  record.vendorId = SupportedGpuVendorId;
  platform::copyBounded(record.fullName, sizeof record.fullName, device.full_name.c_str());
  platform::copyBounded(record.deviceName, sizeof record.deviceName, device.name.c_str());
}

void DeviceTable::addFrom(const ov::Core& runtime, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    add({name, runtime.get_property(name, "FULL_DEVICE_NAME").as<std::string>()});
  }
}

std::int32_t DeviceTable::enumerate(SttDeviceInfo* list) const {
  std::int32_t reported = 0;
  for (std::int32_t index = 0; index < count_; ++index) {
    const SttDeviceRecord& record = (*this)[index];
    if (record.kind != SttDeviceIntegratedGpu && record.kind != SttDeviceDiscreteGpu) {
      continue;
    }
    if (list != nullptr) {
      SttDeviceInfo& info = list[reported];
      info.kind = record.kind;
      info.reserved = 0;
      platform::copyBounded(info.name, sizeof info.name, record.fullName);
    }
    ++reported;
  }
  return reported;
}

const SttDeviceRecord* DeviceTable::lastOfKind(std::int32_t kind) const {
  const SttDeviceRecord* found = nullptr;
  for (std::int32_t index = 0; index < count_; ++index) {
    if ((*this)[index].kind == kind) {
      found = &(*this)[index];
    }
  }
  return found;
}

std::string DeviceTable::requestDevice(std::int32_t kind) const {
  const SttDeviceRecord* chosen = nullptr;
  if (kind == SttDeviceAnyGpu) {
    chosen = lastOfKind(SttDeviceIntegratedGpu);
    if (chosen == nullptr) {
      chosen = lastOfKind(SttDeviceDiscreteGpu);
    }
  } else {
    chosen = lastOfKind(kind);
  }
  if (chosen == nullptr) {
    std::string result = "notfind";
    sttLogInfo("Request device: %d, return device: %s", kind, result.c_str());
    return result;
  }
  logTexts(sttLogInfo, "Request device: %s, return device: %s, name: %s",
           {std::to_string(kind), chosen->deviceName, chosen->fullName});
  return chosen->deviceName;
}

AdapterIds scanAdapters(const std::vector<platform::DisplayAdapter>& adapters) {
  AdapterIds ids;
  for (const platform::DisplayAdapter& adapter : adapters) {
    if (adapter.vendor_id != SupportedGpuVendorId) {
      continue;
    }
    std::uint32_t& id = adapter.dedicated_memory_bytes > kDiscreteAboveBytes ? ids.discreteAdapterId : ids.integratedAdapterId;
    id = adapter.device_id;
  }
  return ids;
}

} // namespace vorin
