// clip_formats.h: the kinds of clips and pipes, as far as they are known without libav.
//
// Through a pipe go raw frames, of which the user tells the kind, or Y4M, which tells itself.
// Y4M (YUV4MPEG2, as the MJPEG tools' yuv4mpeg(5) describes it): a header line "YUV4MPEG2" with parameters W, H, F (rate), I
// (interlacing), A (pixel aspect), C (colour) and X (comments), then for each frame a line "FRAME" and the planes Y, U, V. Taken
// and written is 8-bit 4:2:0. The header's parameters other than the size go from a source to a sink as they are.
#pragma once

#include "sources_and_sinks.h"

namespace vorin::media {

// ---- Clips ----

struct ContainerRow {
  std::string_view extension;
  const char* format;
};

inline constexpr std::array kContainers = {ContainerRow{".mp4", "mp4"}, ContainerRow{".m4v", "mp4"}, ContainerRow{".mov", "mov"},
                                           ContainerRow{".mkv", "matroska"}, ContainerRow{".webm", "webm"}};

// Null for a name that is no clip's.
const ContainerRow* findContainer(const std::filesystem::path& file);

// The settings of the encoders. They are fast enough not to hold up the restyling, and keep few frames waiting in the encoder: a
// cancelled run must encode or lose those.
struct EncoderRow {
  std::string_view name;       // as the user may call it
  std::string_view other_name; // the same where there is none
  const char* encoder;
  int usual_crf;
  int worst_crf;
  bool ends_quickly;    // holds few frames back, or encodes them in no time
  const char* settings; // of the encoder's own
};

inline constexpr std::array kEncoders = {
    EncoderRow{"h264", "h264", "libx264", 22, 51, true, "preset=superfast"},
    EncoderRow{"h265", "hevc", "libx265", 24, 51, false,
               "preset=veryfast,x265-params=log-level=none:info=0:rc-lookahead=5:bframes=2"},
    EncoderRow{"vp9", "vp9", "libvpx-vp9", 31, 63, true, "deadline=realtime,cpu-used=6,row-mt=1,lag-in-frames=0"},
    EncoderRow{"av1", "av1", "libaom-av1", 35, 63, true, "usage=realtime,cpu-used=8,row-mt=1"},
};

// ---- Pipes ----

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
