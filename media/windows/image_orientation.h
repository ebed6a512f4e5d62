// image_orientation.h: how a camera was held, as its photo says: the EXIF entry 0x0112 of JPEG and PNG files. The system's
// decoders leave pictures as the camera stored them.
#pragma once

#include <cstdint>
#include <span>

namespace vorin::media {

// EXIF's number, 1 (upright) to 8; 1 where the file says nothing.
int imageOrientation(std::span<const std::uint8_t> file);

} // namespace vorin::media
