// The device table: holds the inference runtime's devices as listed when the object was made, and chooses one of them.
//
// A device is classified by its runtime name ("GPU.0", "CPU", ...) and, for GPUs, by the word "dGPU" in its full name. Only GPUs
// are reported. A request names one kind, of any device, or any GPU, for which an integrated one is preferred; within one kind
// the last one listed wins.
#pragma once

#include "platform/platform.h"
#include "vorin_stt.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ov {
class Core;
}

namespace vorin {

// A device as the inference runtime lists it.
struct ListedDevice {
  std::string name;
  std::string full_name;
};

SttDeviceKind classifyDevice(const std::string& name, const std::string& full_name);

class DeviceTable {
public:
  // Logs the device and records it while there is room; the seventeenth and later ones are only logged.
  void add(const ListedDevice& device);

  // Adds the runtime's devices of these names, each before the next one is read. Throws the runtime's exceptions.
  void addFrom(const ov::Core& runtime, const std::vector<std::string>& names);

  // Writes the kind and name of every GPU into `list`, which must have room for all of them, or may be null. Returns their
  // number.
  std::int32_t enumerate(SttDeviceInfo* list) const;

  // The runtime's name of the device that answers a request of this kind, or "notfind". Logs the answer.
  std::string requestDevice(std::int32_t kind) const;

  std::int32_t count() const { return count_; }
  const SttDeviceRecord& operator[](std::int32_t index) const { return records_[static_cast<std::size_t>(index)]; }

private:
  const SttDeviceRecord* lastOfKind(std::int32_t kind) const;

  static constexpr std::int32_t kCapacity = 16;
  std::array<SttDeviceRecord, kCapacity> records_ = {};
  std::int32_t count_ = 0;
};

// PCI device identifiers of the supported vendor's display adapters; 0 if there is none.
struct AdapterIds {
  std::uint32_t integratedAdapterId = 0;
  std::uint32_t discreteAdapterId = 0;
};

// An adapter of the supported vendor counts as discrete when it has more than 512 MiB of memory of its own; of several, the last
// counts.
AdapterIds scanAdapters(const std::vector<platform::DisplayAdapter>& adapters);

} // namespace vorin
