// pipe_format.h: what goes through a pipe: raw frames, of which the user tells the kind, or Y4M, which tells itself.
//
// Y4M (YUV4MPEG2, as the MJPEG tools' yuv4mpeg(5) describes it): a header line "YUV4MPEG2" with parameters W, H, F (rate), I
// (interlacing), A (pixel aspect), C (colour) and X (comments), then for each frame a line "FRAME" and the planes Y, U, V. Taken
// and written is 8-bit 4:2:0. The header's parameters other than the size go from a source to a sink as they are.
#pragma once

#include "sources_and_sinks.h"

namespace vorin::media {

enum class RawPixels { kBgra, kRgba, kBgr24, kNv12, kYuy2, kI420 };

struct RawFormat {
  RawPixels pixels = RawPixels::kBgra;
  Size size;
  Rational rate;
};

// FORMAT:WxH@FPS, such as nv12:1280x720@30000/1001. Throws kUsage for anything else.
RawFormat parseRawFormat(const std::string& text);

// The header line without its end. Throws kInputOutput, with name in the text. The colours are those of what players assume.
SourceInfo parseY4mHeader(const std::string& line, const std::string& name);

// The header line, with its end, for pictures of this size.
std::string y4mHeader(const SourceInfo& source, Size size);

} // namespace vorin::media
