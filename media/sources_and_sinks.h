// sources_and_sinks.h: the kinds of sources and sinks behind openSource and openSink, and the checks of their names and options.
// Each kind has a file of its own: image_source.cpp and image_sink.cpp, clip_source.cpp and clip_sink.cpp, pipes.cpp.
#pragma once

#include "image_codec.h"
#include "vorin_media.hpp"

#include <opencv2/core/mat.hpp>

#include <array>
#include <string_view>

namespace vorin::media {

// ---- What sinks keep of a source besides its pictures ----

// A clip's colour tags in the numbers of ITU-T H.273, 2 for unknown. chroma_position is the place of colour samples between
// pixels in libavutil's numbers, 0 for unknown.
struct ColourTags {
  int matrix = 2;
  int primaries = 2;
  int transfer = 2;
  int chroma_position = 0;
  bool range_is_known = false;
  bool full_range = false;
};

struct SourceStreams; // libav's

struct SourceDetails {
  ColourTags colours;
  bool exact_colours = false;                          // NV12 pictures are in the clip's own matrix and range
  Rational pixel_aspect;                               // 0/1: unknown
  std::optional<std::array<std::int32_t, 9>> rotation; // the display matrix of MP4, in libavutil's form
  std::string y4m_parameters;                          // of a Y4M header, unchanged: rate, interlacing and the like
  std::shared_ptr<const SourceStreams> streams;        // of a clip: sound, subtitles, chapters, titles
  cv::Mat alpha;                                       // of an image: one byte a pixel; empty: it is opaque
  ImageTags tags;                                      // of an image
};

// The details of a source, all unknown if it has none.
const SourceDetails& detailsOf(const SourceInfo& info);
SourceDetails& detailsOf(SourceInfo& info);

// How players show the source's pictures: with square pixels, and turned if its rotation lays them on their side.
bool isOnItsSide(const SourceInfo& source);
Size shownSize(const SourceInfo& source);

// The source with square pixels, for a sink of pictures that are resized to them.
SourceInfo withSquarePixels(SourceInfo source);

// The file name that stands for standard input or output.
constexpr std::string_view kPipeName = "-";

// ---- Images ----

// The largest picture to decode or make. One takes about so many bytes a pixel on its way, which this limit keeps below 4 GB.
constexpr std::uint64_t kBytesForAPixel = 26;
constexpr std::uint64_t kLargestSide = 16384;
constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 27;
bool isUsableSize(std::uint64_t width, std::uint64_t height);
std::string sizeLimits();        // "sides of 1 to 16384 and at most 134217728 pixels"
std::string sizeText(Size size); // "640x480"

// Whether a file of this name is written as an image, and all extensions of such names: ".png", ...
bool isImageName(const std::filesystem::path& file);
std::vector<std::string> imageExtensions();

// The error for an output that is neither an image nor a clip by its name.
Error unknownExtension(const std::filesystem::path& output);

// Whether the file begins like an image; false if it cannot be read, and for GIF, which may be a clip.
bool isImageFile(const std::filesystem::path& file);

// Throws kInputOutput if nothing has this name.
void requireExists(const std::filesystem::path& file);

// Throws kUsage if the format that the name stands for cannot hold a picture of this size.
void requireImageFits(const std::filesystem::path& file, Size size);

std::unique_ptr<Source> openImageSource(const std::filesystem::path& file, const SourceOptions& options = {});
std::unique_ptr<Source> openPipedImage(std::span<const std::uint8_t> file,
                                       const SourceOptions& options); // read from standard input

// file may be the pipe: the options then name the kind of image.
std::unique_ptr<Sink> openImageSink(const std::filesystem::path& file, const SourceInfo& source, Size size,
                                    const SinkOptions& options);

// ---- Clips and pipes ----

bool isClipName(const std::filesystem::path& file); // a clip that can be written
std::vector<std::string> clipExtensions();
std::string usualQualities(); // of each codec if none is asked for: "22 for h264, ..."
std::string rawPixelNames();  // "bgra, rgba, ..."

// Throws kUsage, as opening would, if the name, the codec and the quality do not fit together.
void checkClipOptions(const std::filesystem::path& output, const SinkOptions& options);

// The size of the frames that the option describes. Throws kUsage if it cannot be read.
Size rawSize(const std::string& raw);

std::unique_ptr<Source> openClipSource(const std::filesystem::path& clip, const SourceOptions& options);
std::unique_ptr<Sink> openClipSink(const std::filesystem::path& clip, const SourceInfo& source, Size size,
                                   const SinkOptions& options);

// An image, or frames. Waits for the first bytes, and for all of an image.
std::unique_ptr<Source> openPipeSource(int descriptor, const SourceOptions& options);
std::unique_ptr<Sink> openPipeSink(int descriptor, const SourceInfo& source, Size size, const std::string& raw);

// The layout of a result of this size: the source's, or BGRA if the source's cannot hold the size.
PixelLayout layoutFor(PixelLayout source, Size size);

} // namespace vorin::media
