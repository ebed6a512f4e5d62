// frames.h: moving pictures as the rest of the program sees them: where they come from, what they are, and where they go.
//
// A source gives items in the order in which they lie in the file: pictures to draw, and packets of sound and subtitles to hand
// on untouched. A sink takes both. Clips, raw pipes and Y4M pipes are sources and sinks alike, in any combination.
//
// Pictures have one of the two layouts that the style-transfer library and libav both do well, and always in the colours that the
// library reckons in: NV12 is video-range BT.601, whatever the clip's own matrix and range are. The library knows that one
// conversion only, so a BT.709 clip handed over as it is would be drawn with shifted hues, and a style's own palette would come
// out shifted the other way. Who draws nothing may ask for NV12 in the clip's own colours, which loses nothing. Sources and sinks
// change between the clip's YUV and BT.601 at the size of the colour planes (colour_change.h), which costs less than a way
// through RGB and loses nothing but rounding. Clips that are not 4:2:0, and those of odd size, which NV12 cannot hold, go as
// BGRA.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace vorin::media {

// One line for the user: what is wrong and what to do.
class MediaError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The same for something asked for that makes no sense: a codec that is not there, a frame size that cannot be read.
class OptionError : public MediaError {
public:
  using MediaError::MediaError;
};

struct Size {
  int width = 0;
  int height = 0;
  bool operator==(const Size&) const = default;
};

struct Rational {
  int num = 0;
  int den = 1;
};

enum class PixelLayout {
  kNv12, // height rows of luma, then height / 2 rows of pairs U, V; even sizes only
  kBgra  // 4 bytes a pixel: blue, green, red, alpha
};

// 8 bits a sample, top row first, rows without padding.
struct Picture {
  PixelLayout layout = PixelLayout::kBgra;
  Size size;
  std::vector<std::uint8_t> bytes;
};

Picture makePicture(PixelLayout layout, Size size);

// The layout for a drawing of this size of pictures of that layout: the same, but BGRA where NV12 cannot hold it.
PixelLayout layoutFor(PixelLayout source, Size size);

struct VideoFrame {
  Picture picture;
  std::int64_t time = 0; // of its begin, in the source's time base
  std::int64_t duration = 0;
};

struct PacketData; // libav's
struct StreamPacket {
  std::shared_ptr<PacketData> data;
};

using Item = std::variant<VideoFrame, StreamPacket>;

// The numbers are those of ITU-T H.273, 2 for unknown; of the position of colour samples they are libav's, 0 for unknown.
struct ColourTags {
  int matrix = 2;
  int primaries = 2;
  int transfer = 2;
  int chroma_position = 0;
  bool range_is_known = false;
  bool full_range = false;
};

enum class PictureColours { kLibrary, kOwn }; // of NV12

struct SourceStreams; // libav's: what a clip holds besides its pictures

struct VideoInfo {
  std::string name; // for messages
  Size size;
  PixelLayout layout = PixelLayout::kBgra;
  ColourTags colours;
  PictureColours picture_colours = PictureColours::kLibrary;
  Rational pixel_aspect; // 0/1: unknown
  Rational time_base;    // seconds
  Rational frame_rate;   // on average; 0/1: unknown
  std::optional<std::int64_t> frames_expected;
  std::optional<std::array<std::int32_t, 9>> rotation; // the display matrix of MP4, as libav gives it
  std::string y4m_parameters;                   // of a Y4M source: the header's rate, interlacing and the like, as they stand
  std::shared_ptr<const SourceStreams> streams; // of a clip
};

// One thread at a time; interrupt() from any.
class FrameSource {
public:
  FrameSource() = default;
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;
  virtual ~FrameSource() = default;

  virtual const VideoInfo& info() const = 0;

  // The next picture or packet; nothing at the end. Throws a MediaError.
  virtual std::optional<Item> next() = 0;

  // After the end: what was damaged or missing in the source, one line each. What could be read has been delivered.
  virtual std::vector<std::string> damage() const { return {}; }

  // Ends a next() that waits for somebody else's bytes.
  virtual void interrupt() noexcept {}
};

// One thread at a time; interrupt() from any. A sink destroyed without a finish leaves nothing behind.
class FrameSink {
public:
  FrameSink() = default;
  FrameSink(const FrameSink&) = delete;
  FrameSink& operator=(const FrameSink&) = delete;
  virtual ~FrameSink() = default;

  virtual Size size() const = 0;              // of the pictures it takes
  virtual void write(VideoFrame&& frame) = 0; // either layout
  virtual void write(StreamPacket&& packet) = 0;
  virtual void finish() = 0;

  // Ends at once, for a user who waits: what is inside and would take long is dropped, what is there plays. Returns how many
  // pictures the output holds.
  virtual std::int64_t finishEarly() = 0;

  virtual void interrupt() noexcept {}

  // What of the source the output does not hold, one line each; complete once constructed.
  virtual std::vector<std::string> warnings() const { return {}; }
};

} // namespace vorin::media
