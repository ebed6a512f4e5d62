// image_codec.h: image files: what their bytes tell without being decoded (kind, size, whether they are whole, how the camera was
// held, colour profile and the like), and the decoders and encoders: libpng, libjpeg and libwebp, or on Windows the system's own.
#pragma once

#include <opencv2/core/mat.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vorin::media {

// ---- Without decoding ----

enum class ImageKind { kNone, kPng, kJpeg, kWebp, kBmp, kTiff, kGif };

// By the first bytes, of which 16 are enough.
ImageKind imageKindOf(std::span<const std::uint8_t> file);

struct ImageHeader {
  std::uint64_t width = 0; // 0: the header breaks off
  std::uint64_t height = 0;
  bool is_whole = true; // as far as it is checked
  bool is_animated = false;
  std::uint64_t left = 0; // where the first picture of a GIF file lies, which may be smaller
  std::uint64_t top = 0;
};
ImageHeader readImageHeader(std::span<const std::uint8_t> file);

// What a JPEG, PNG or WebP file says besides its pixels, to be kept in another. TIFF, BMP and GIF files: nothing.
struct ImageTags {
  std::vector<std::uint8_t> profile;    // the ICC profile of the colours; empty: none
  std::vector<std::uint8_t> exif;       // as a TIFF file, upright, without the preview; empty: none
  std::uint32_t pixels_per_metre_x = 0; // 0: unknown
  std::uint32_t pixels_per_metre_y = 0;
};
ImageTags imageTags(std::span<const std::uint8_t> file);

// Changes the size of the picture that EXIF data name, if they do.
void setExifSize(std::vector<std::uint8_t>& exif, int width, int height);

// The EXIF orientation of a JPEG, PNG, WebP or TIFF file: 1 to 8, where 1 is upright and stands for a file without one too.
int imageOrientation(std::span<const std::uint8_t> file);

// ---- The codecs ----

constexpr int kUsualJpegQuality = 95;

// A kind of image file that can be written.
struct ImageEncoding {
  std::string_view extension; // in lower case, with its dot
  int largest_side;           // pixels
  bool holds_alpha;
  bool holds_grey;
};
std::span<const ImageEncoding> imageEncodings();

// Decodes an image file to 8-bit blue, green, red, as the camera stored it, and alpha if the file may have transparent parts.
// Returns an empty picture for a damaged file, and nothing where the system has no decoder for such files. Prints nothing.
// most_pixels: of TIFF, BMP and GIF files, since their decoders may find a larger picture than the header that was checked.
std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file, std::uint64_t most_pixels);

// Encodes a picture to the bytes of an image file; none if the encoder fails. picture: blue, green, red, and alpha if the
// encoding holds that; or grey if it holds that. quality: 1 to 100, of JPEG and WebP; none: WebP without loss. tags: as far as
// the encoding holds them; on Windows they are left out.
std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality,
                                      const ImageTags& tags);

// The ICC profile of a PNG file, which is compressed there; empty: none, or no decoder for it, as on Windows.
std::vector<std::uint8_t> pngProfile(std::span<const std::uint8_t> file);

// ---- Parts of the codecs, not on Windows ----

// Makes an empty picture of 8 bits a sample. Returns false for a size that no picture may have: decoders read sizes of their own,
// which need not be those of the header that was checked.
bool makePicture(cv::Mat& picture, std::uint64_t width, std::uint64_t height, int channels);

// As decodeImage and encodeImage.
cv::Mat decodeJpeg(std::span<const std::uint8_t> file);
std::vector<std::uint8_t> encodeJpeg(const cv::Mat& picture, int quality, const ImageTags& tags);
cv::Mat decodeWebp(std::span<const std::uint8_t> file);
std::vector<std::uint8_t> encodeWebp(const cv::Mat& picture, std::optional<int> quality, const ImageTags& tags);

} // namespace vorin::media
