// PNG files by libpng, JPEG and WebP files by jpeg_image.cpp and webp_image.cpp, the others by the clip module. OpenCV's
// imgcodecs would bring 140 libraries with it, which take longer to load than most images take to restyle.
//
// libpng reports an error by longjmp. Functions that call setjmp hold no object with a destructor: what must be freed belongs to
// their caller.
#include "../image_codec.h"

#include "../clip_module.h"
#include "../image_bytes.h"
#include "../library_copy.h"
#include "../sources_and_sinks.h"

#include <opencv2/core.hpp>

#include <array>
#include <csetjmp>
#include <cstring>
#include <new>
#include <png.h>
#include <webp/encode.h>
#include <zlib.h>

namespace vorin::media {
namespace {

constexpr std::array kEncodings = {
    ImageEncoding{".png", static_cast<int>(kLargestSide), true, true},
    ImageEncoding{".jpg", static_cast<int>(kLargestSide), false, true},
    ImageEncoding{".jpeg", static_cast<int>(kLargestSide), false, true},
    ImageEncoding{".webp", WEBP_MAX_DIMENSION, true, false},
    ImageEncoding{".bmp", static_cast<int>(kLargestSide), false, false},
};

// ---- PNG ----

struct PngReader {
  explicit PngReader(Bytes file) : unread(file) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, &fail, [](png_structp, png_const_charp) {});
    info = png != nullptr ? png_create_info_struct(png) : nullptr;
  }
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;

  [[noreturn]] static void fail(png_structp png, png_const_charp /*message*/) { png_longjmp(png, 1); }

  static void read(png_structp png, png_bytep target, std::size_t count) {
    Bytes& unread = *static_cast<Bytes*>(png_get_io_ptr(png));
    if (count > unread.size()) {
      fail(png, nullptr);
    }
    std::memcpy(target, unread.data(), count);
    unread = unread.subspan(count);
  }

  png_structp png = nullptr;
  png_infop info = nullptr;
  Bytes unread;
};

// Palettes, grey and 16 bits become 8-bit blue, green, red; one colour that counts as transparent becomes alpha.
void convertPngToBgr(png_structp png, png_const_infop info) {
  const int colour_type = png_get_color_type(png, info);
  png_set_strip_16(png);
  if (colour_type == PNG_COLOR_TYPE_PALETTE) {
    png_set_palette_to_rgb(png);
  }
  if (png_get_valid(png, info, PNG_INFO_tRNS) != 0) {
    png_set_tRNS_to_alpha(png);
  }
  if ((colour_type & PNG_COLOR_MASK_COLOR) != 0) {
    png_set_bgr(png);
  } else {
    png_set_expand_gray_1_2_4_to_8(png);
    png_set_gray_to_rgb(png);
  }
}

bool decodePng(PngReader& reader, cv::Mat& picture) {
  if (reader.info == nullptr || setjmp(png_jmpbuf(reader.png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
    return false;
  }
  png_set_read_fn(reader.png, &reader.unread, &PngReader::read);
  png_read_info(reader.png, reader.info);
  convertPngToBgr(reader.png, reader.info);
  const int passes = png_set_interlace_handling(reader.png);
  png_read_update_info(reader.png, reader.info);
  if (!makePicture(picture, png_get_image_width(reader.png, reader.info), png_get_image_height(reader.png, reader.info),
                   png_get_channels(reader.png, reader.info))) {
    return false;
  }
  for (int row = 0; row < passes * picture.rows; ++row) {
    png_read_row(reader.png, picture.ptr(row % picture.rows), nullptr);
  }
  png_read_end(reader.png, nullptr);
  return true;
}

// Gives null where there is no profile. It belongs to the reader.
png_bytep readPngProfile(PngReader& reader, png_uint_32& bytes) {
  if (reader.info == nullptr || setjmp(png_jmpbuf(reader.png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
    return nullptr;
  }
  png_set_read_fn(reader.png, &reader.unread, &PngReader::read);
  png_read_info(reader.png, reader.info);
  png_charp name = nullptr;
  int compression = 0;
  png_bytep profile = nullptr;
  png_get_iCCP(reader.png, reader.info, &name, &compression, &profile, &bytes);
  return profile;
}

struct PngWriter {
  PngWriter() {
    png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &PngReader::fail, [](png_structp, png_const_charp) {});
    info = png != nullptr ? png_create_info_struct(png) : nullptr;
  }
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;

  static void write(png_structp png, png_bytep bytes, std::size_t count) {
    auto& file = *static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
    bool is_stored = true;
    try {
      file.insert(file.end(), bytes, bytes + count);
    } catch (const std::bad_alloc&) { // no exception may pass through a C library
      is_stored = false;
    }
    if (!is_stored) {
      PngReader::fail(png, nullptr);
    }
  }

  png_structp png = nullptr;
  png_infop info = nullptr;
};

int pngColourType(const cv::Mat& picture) {
  if (picture.channels() == 1) {
    return PNG_COLOR_TYPE_GRAY;
  }
  return picture.channels() == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
}

void setPngTags(png_structp png, png_infop info, const ImageTags& tags) {
  png_set_benign_errors(png, 1); // an unusable profile is left out
  if (!tags.profile.empty()) {
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, tags.profile.data(),
                 static_cast<png_uint_32>(tags.profile.size()));
  }
  if (!tags.exif.empty()) {
    png_set_eXIf_1(png, info, static_cast<png_uint_32>(tags.exif.size()), const_cast<png_bytep>(tags.exif.data())); // copied
  }
  if (tags.pixels_per_metre_x > 0) {
    png_set_pHYs(png, info, tags.pixels_per_metre_x, tags.pixels_per_metre_y, PNG_RESOLUTION_METER);
  }
}

// Fast rather than small: the strategy and the filter suit pictures, whose neighbours are alike.
bool encodePng(const PngWriter& writer, const cv::Mat& picture, const ImageTags& tags, std::vector<std::uint8_t>& file) {
  if (writer.info == nullptr || setjmp(png_jmpbuf(writer.png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
    return false;
  }
  png_set_write_fn(writer.png, &file, &PngWriter::write, nullptr);
  png_set_filter(writer.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_set_compression_level(writer.png, Z_BEST_SPEED);
  png_set_compression_strategy(writer.png, Z_RLE);
  png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(picture.cols), static_cast<png_uint_32>(picture.rows), 8,
               pngColourType(picture), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  setPngTags(writer.png, writer.info, tags);
  png_write_info(writer.png, writer.info);
  png_set_bgr(writer.png);
  for (int row = 0; row < picture.rows; ++row) {
    png_write_row(writer.png, picture.ptr(row));
  }
  png_write_end(writer.png, writer.info);
  return true;
}

} // namespace

bool makePicture(cv::Mat& picture, std::uint64_t width, std::uint64_t height, int channels) {
  if (!isUsableSize(width, height)) {
    return false;
  }
  try {
    picture.create(static_cast<int>(height), static_cast<int>(width), CV_8UC(channels));
  } catch (const cv::Exception&) { // OpenCV's word for too little memory
    throw std::bad_alloc();
  }
  return true;
}

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::vector<std::uint8_t> pngProfile(Bytes file) {
  PngReader reader(file);
  png_uint_32 bytes = 0;
  const png_byte* const profile = readPngProfile(reader, bytes);
  return profile == nullptr ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(profile, profile + bytes);
}

std::optional<cv::Mat> decodeImage(Bytes file, std::uint64_t most_pixels) {
  cv::Mat picture;
  switch (imageKindOf(file)) {
  case ImageKind::kPng: {
    PngReader reader(file);
    return decodePng(reader, picture) ? picture : cv::Mat();
  }
  case ImageKind::kJpeg:
    return decodeJpeg(file);
  case ImageKind::kWebp:
    return decodeWebp(file);
  default:
    return clipModule().decode_image(file, imageKindOf(file), most_pixels);
  }
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality,
                                      const ImageTags& tags) {
  if (encoding.extension == ".png") {
    const PngWriter writer;
    std::vector<std::uint8_t> file;
    return encodePng(writer, picture, tags, file) ? file : std::vector<std::uint8_t>();
  }
  if (encoding.extension == ".webp") {
    return encodeWebp(picture, quality, tags);
  }
  if (encoding.extension == ".bmp") {
    return clipModule().encode_bmp(picture);
  }
  return encodeJpeg(picture, quality.value_or(kUsualJpegQuality), tags);
}

} // namespace vorin::media
