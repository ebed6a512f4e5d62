// PNG and JPEG files by libpng and libjpeg-turbo, WebP files by webp_image.cpp, the others by the clip module. OpenCV's imgcodecs
// would bring 140 libraries with it, which take longer to load than most images take to restyle.
//
// libpng and libjpeg report an error by longjmp. Functions that call setjmp hold no object with a destructor: what must be freed
// belongs to their caller.
#include "../image_codec.h"

#include "../clip_module.h"
#include "../sources_and_sinks.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs it
#include <cstdlib>
#include <cstring>
#include <jpeglib.h>
#include <new>
#include <png.h>
#include <webp/encode.h>
#include <zlib.h>

namespace vorin::media {
namespace {

using Bytes = std::span<const std::uint8_t>;

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

// Fast rather than small: the strategy and the filter suit pictures, whose neighbours are alike.
bool encodePng(const PngWriter& writer, const cv::Mat& picture, std::vector<std::uint8_t>& file) {
  if (writer.info == nullptr || setjmp(png_jmpbuf(writer.png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
    return false;
  }
  png_set_write_fn(writer.png, &file, &PngWriter::write, nullptr);
  png_set_filter(writer.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_set_compression_level(writer.png, Z_BEST_SPEED);
  png_set_compression_strategy(writer.png, Z_RLE);
  png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(picture.cols), static_cast<png_uint_32>(picture.rows), 8,
               pngColourType(picture), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(writer.png, writer.info);
  png_set_bgr(writer.png);
  for (int row = 0; row < picture.rows; ++row) {
    png_write_row(writer.png, picture.ptr(row));
  }
  png_write_end(writer.png, writer.info);
  return true;
}

// ---- JPEG ----

struct JpegErrors : jpeg_error_mgr {
  JpegErrors() : jpeg_error_mgr() {
    jpeg_std_error(this);
    error_exit = [](j_common_ptr state) {
      std::longjmp(static_cast<JpegErrors*>(state->err)->jump, 1); // NOLINT(cert-err52-cpp): libjpeg's way
    };
    emit_message = [](j_common_ptr, int) {};
  }
  std::jmp_buf jump = {};
};

struct JpegReader {
  JpegReader() { state.err = &errors; }
  ~JpegReader() { jpeg_destroy_decompress(&state); }
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  JpegErrors errors;
  jpeg_decompress_struct state = {};
};

// Gives four channels, cyan, magenta, yellow and black, of a file of four.
bool decodeJpeg(JpegReader& reader, Bytes file, cv::Mat& picture) {
  jpeg_decompress_struct& state = reader.state;
  if (setjmp(reader.errors.jump) != 0) { // NOLINT(cert-err52-cpp): libjpeg's way
    return false;
  }
  jpeg_create_decompress(&state);
  jpeg_mem_src(&state, file.data(), file.size());
  jpeg_read_header(&state, TRUE);
  state.out_color_space = state.num_components == 4 ? JCS_CMYK : JCS_EXT_BGR;
  jpeg_start_decompress(&state);
  if (!makePicture(picture, state.output_width, state.output_height, state.output_components)) {
    return false;
  }
  while (state.output_scanline < state.output_height) {
    JSAMPROW row = picture.ptr(static_cast<int>(state.output_scanline));
    jpeg_read_scanlines(&state, &row, 1);
  }
  jpeg_finish_decompress(&state);
  return true;
}

// Of inks as the usual programs store them: 255 is none.
cv::Mat bgrOfCmyk(const cv::Mat& cmyk) {
  cv::Mat bgr(cmyk.size(), CV_8UC3);
  std::transform(cmyk.begin<cv::Vec4b>(), cmyk.end<cv::Vec4b>(), bgr.begin<cv::Vec3b>(), [](const cv::Vec4b& inks) {
    const int black = inks[3];
    const auto light = [&](int ink) { return static_cast<std::uint8_t>(black - ((255 - ink) * black >> 8)); };
    return cv::Vec3b(light(inks[2]), light(inks[1]), light(inks[0]));
  });
  return bgr;
}

struct JpegWriter {
  JpegWriter() { state.err = &errors; }
  ~JpegWriter() {
    jpeg_destroy_compress(&state);
    std::free(file); // NOLINT(cppcoreguidelines-no-malloc): libjpeg's
  }
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  JpegErrors errors;
  jpeg_compress_struct state = {};
  unsigned char* file = nullptr;
  unsigned long file_bytes = 0;
};

bool encodeJpeg(JpegWriter& writer, const cv::Mat& picture, int quality) {
  jpeg_compress_struct& state = writer.state;
  if (setjmp(writer.errors.jump) != 0) { // NOLINT(cert-err52-cpp): libjpeg's way
    return false;
  }
  jpeg_create_compress(&state);
  jpeg_mem_dest(&state, &writer.file, &writer.file_bytes);
  state.image_width = static_cast<JDIMENSION>(picture.cols);
  state.image_height = static_cast<JDIMENSION>(picture.rows);
  state.input_components = picture.channels();
  state.in_color_space = picture.channels() == 1 ? JCS_GRAYSCALE : JCS_EXT_BGR;
  jpeg_set_defaults(&state);
  jpeg_set_quality(&state, quality, TRUE);
  jpeg_start_compress(&state, TRUE);
  for (int row = 0; row < picture.rows; ++row) {
    JSAMPROW samples = const_cast<JSAMPROW>(picture.ptr(row)); // only read
    jpeg_write_scanlines(&state, &samples, 1);
  }
  jpeg_finish_compress(&state);
  return true;
}

} // namespace

bool makePicture(cv::Mat& picture, std::uint64_t width, std::uint64_t height, int channels) {
  if (!isUsableSize(width, height)) {
    return false;
  }
  picture.create(static_cast<int>(height), static_cast<int>(width), CV_8UC(channels));
  return true;
}

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::optional<cv::Mat> decodeImage(Bytes file) {
  cv::Mat picture;
  switch (imageKindOf(file)) {
  case ImageKind::kPng: {
    PngReader reader(file);
    return decodePng(reader, picture) ? picture : cv::Mat();
  }
  case ImageKind::kJpeg: {
    JpegReader reader;
    const bool is_decoded = decodeJpeg(reader, file, picture);
    return !is_decoded ? cv::Mat() : picture.channels() == 4 ? bgrOfCmyk(picture) : picture;
  }
  case ImageKind::kWebp:
    return decodeWebp(file);
  default:
    return clipModule().decode_image(file, imageKindOf(file));
  }
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality) {
  if (encoding.extension == ".png") {
    const PngWriter writer;
    std::vector<std::uint8_t> file;
    return encodePng(writer, picture, file) ? file : std::vector<std::uint8_t>();
  }
  if (encoding.extension == ".webp") {
    return encodeWebp(picture, quality);
  }
  if (encoding.extension == ".bmp") {
    return clipModule().encode_bmp(picture);
  }
  JpegWriter writer;
  return encodeJpeg(writer, picture, quality.value_or(kUsualJpegQuality))
             ? std::vector<std::uint8_t>(writer.file, writer.file + writer.file_bytes)
             : std::vector<std::uint8_t>();
}

} // namespace vorin::media
