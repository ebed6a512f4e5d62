// The constants of the packed model file, whose format model_package_reader.h describes; shared by the library's reader and the
// packer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorin::modelpack {

constexpr const char* kPackageFileName = "model_st.bin";
constexpr std::uint8_t kPackageKey = 0x3C;
constexpr std::uint32_t kMaxEntryBytes = 0x40000000;  // 1 GiB
constexpr std::uint32_t kMaxEntryOffset = 0x7FFFFFFF; // the reader seeks by a signed 32-bit offset
constexpr std::size_t kNameBufferBytes = 1024;        // a name and its terminating zero

} // namespace vorin::modelpack
