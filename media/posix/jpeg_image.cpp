// JPEG files by libjpeg-turbo, which reports an error by longjmp: see image_codec.cpp.
#include "../image_bytes.h"
#include "../image_codec.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs it
#include <cstdlib>
#include <jpeglib.h>

namespace vorin::media {
namespace {

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
bool decode(JpegReader& reader, Bytes file, cv::Mat& picture) {
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

void setJpegDensity(jpeg_compress_struct& state, const ImageTags& tags) {
  constexpr double kMetresInAnInch = 0.0254;
  const auto x = std::lround(tags.pixels_per_metre_x * kMetresInAnInch);
  const auto y = std::lround(tags.pixels_per_metre_y * kMetresInAnInch);
  if (x > 0 && x <= UINT16_MAX && y > 0 && y <= UINT16_MAX) {
    state.density_unit = 1; // dots per inch
    state.X_density = static_cast<UINT16>(x);
    state.Y_density = static_cast<UINT16>(y);
  }
}

// EXIF data that are larger than a segment are left out.
void writeJpegTags(jpeg_compress_struct& state, const ImageTags& tags) {
  constexpr std::string_view kExifHead("Exif\0\0", 6);
  constexpr std::size_t kMostBytes = 65533;
  if (!tags.exif.empty() && tags.exif.size() + kExifHead.size() <= kMostBytes) {
    jpeg_write_m_header(&state, JPEG_APP0 + 1, static_cast<unsigned>(tags.exif.size() + kExifHead.size()));
    std::for_each(kExifHead.begin(), kExifHead.end(), [&](char letter) { jpeg_write_m_byte(&state, letter); });
    std::for_each(tags.exif.begin(), tags.exif.end(), [&](std::uint8_t byte) { jpeg_write_m_byte(&state, byte); });
  }
  if (!tags.profile.empty()) {
    jpeg_write_icc_profile(&state, tags.profile.data(), static_cast<unsigned>(tags.profile.size()));
  }
}

bool encode(JpegWriter& writer, const cv::Mat& picture, int quality, const ImageTags& tags) {
  jpeg_compress_struct& state = writer.state;
  if (setjmp(writer.errors.jump) != 0) { // NOLINT(cert-err52-cpp): libjpeg's way
    writer.file = nullptr;               // may be freed already: libjpeg notes a larger buffer at the end only
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
  setJpegDensity(state, tags);
  jpeg_start_compress(&state, TRUE);
  writeJpegTags(state, tags);
  for (int row = 0; row < picture.rows; ++row) {
    JSAMPROW samples = const_cast<JSAMPROW>(picture.ptr(row)); // only read
    jpeg_write_scanlines(&state, &samples, 1);
  }
  jpeg_finish_compress(&state);
  return true;
}

} // namespace

cv::Mat decodeJpeg(Bytes file) {
  JpegReader reader;
  cv::Mat picture;
  const bool is_decoded = decode(reader, file, picture);
  return !is_decoded ? cv::Mat() : picture.channels() == 4 ? bgrOfCmyk(picture) : picture;
}

std::vector<std::uint8_t> encodeJpeg(const cv::Mat& picture, int quality, const ImageTags& tags) {
  JpegWriter writer;
  return encode(writer, picture, quality, tags) ? std::vector<std::uint8_t>(writer.file, writer.file + writer.file_bytes)
                                                : std::vector<std::uint8_t>();
}

} // namespace vorin::media
