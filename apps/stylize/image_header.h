// image_header.h: what the first bytes of an image file say, and whether the file is all there, without decoding it.
//
// Decoders make pictures out of half a file (a cut JPEG comes out grey below the cut) and set memory aside for whatever size the
// header claims. So the program walks the file's own structure first: chunks of PNG up to IEND, segments and scans of JPEG up to
// the end-of-image marker, the RIFF length of WebP, the pixel array of BMP.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace vorin::stylize {

struct ImageHeader {
  std::uint64_t width = 0; // 0: the file ends before it says
  std::uint64_t height = 0;
  bool complete = false; // the file holds everything that its structure announces
};

// Nothing when the bytes begin like none of PNG, JPEG, WebP and BMP.
std::optional<ImageHeader> readImageHeader(std::span<const std::uint8_t> file);

} // namespace vorin::stylize
