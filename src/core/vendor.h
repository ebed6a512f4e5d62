// The identifiers of the supported GPU vendor in the systems' lists of hardware.
#pragma once

#include <cstdint>

namespace vorin {

constexpr std::uint32_t SupportedGpuVendorId = 0x7A3C;    // PCI vendor identifier
constexpr const char* kSupportedPlatformVendor = "Merix"; // a word of the OpenCL platform's vendor text

} // namespace vorin
