// Display adapters of Linux: the entries of PCI class 03 below sysfs.
#pragma once

#include "platform/platform.h"

namespace vorin::platform {

// Reads one folder of PCI devices, laid out as /sys/bus/pci/devices is, in the order of the entries' names. The dedicated memory
// is the size that the driver publishes ("mem_info_vram_total"); if that cannot be read it counts as 0. Entries without
// a readable class, vendor or device are left out.
std::vector<DisplayAdapter> listDisplayAdaptersBelow(const std::string& devices_folder);

} // namespace vorin::platform
