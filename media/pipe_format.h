// pipe_format.h: the formats of pipes: raw frames, whose format the user names, or Y4M, whose header names it.
//
// Y4M (YUV4MPEG2, as the MJPEG tools' yuv4mpeg(5) describes it): a header line "YUV4MPEG2" with parameters W, H, F (rate), I
// (interlacing), A (pixel aspect), C (colour) and X (comments), then for each frame a line "FRAME" and the planes Y, U, V.
// Only 8-bit 4:2:0 is read and written. The header's parameters other than the size pass unchanged from a source to a sink.
#pragma once

#include "sources_and_sinks.h"

namespace vorin::media {

enum class RawPixels { kBgra, kRgba, kBgr24, kNv12, kYuy2, kI420 };

struct RawFormat {
  RawPixels pixels = RawPixels::kBgra;
  Size size;
  Rational rate;
};

// Parses FORMAT:WxH@FPS, such as nv12:1280x720@30000/1001. Throws kUsage for anything else.
RawFormat parseRawFormat(const std::string& text);

// Parses a header line without its line break. Throws kInputOutput with a text that contains name. Colours that the header does
// not state are those that players assume.
SourceInfo parseY4mHeader(const std::string& line, const std::string& name);

// Returns the header line, with its line break, for pictures of this size.
std::string y4mHeader(const SourceInfo& source, Size size);

} // namespace vorin::media
