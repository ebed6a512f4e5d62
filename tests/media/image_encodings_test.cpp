// Image files of more kinds than the library writes, made by OpenCV's encoders and by ffmpeg, and compared with OpenCV's
// decoders, and what files hold that the library writes. A build for Windows has none of these decoders.
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "support/media_files.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio> // jpeglib.h needs it
#include <jpeglib.h>
#include <map>

namespace vorin::tests {
namespace {

cv::Mat smoothNoise() {
  cv::Mat picture(37, 53, CV_8UC3);
  cv::RNG(20).fill(picture, cv::RNG::UNIFORM, 0, 256);
  cv::GaussianBlur(picture, picture, {5, 5}, 2);
  return picture;
}

void expectReadAsByOpenCv(const fs::path& file, double tolerance = 0) {
  const cv::Mat expected = cv::imread(file, cv::IMREAD_COLOR);
  const std::unique_ptr<media::Source> source = media::openImageSource(file);
  const cv::Mat bgr = media::bgrOf(std::get<media::Frame>(*source->next()).picture);
  ASSERT_EQ(bgr.size(), expected.size());
  EXPECT_LE(cv::norm(bgr, expected, cv::NORM_INF), tolerance);
}

TEST(ImageFileKinds, EachIsReadWholeAndRefusedWhereverItIsCut) {
  const TemporaryFolder folder;
  for (const auto& [extension, parameters] :
       std::vector<std::pair<std::string, std::vector<int>>>{{".png", {}},
                                                             {".jpg", {}},
                                                             {".jpg", {cv::IMWRITE_JPEG_PROGRESSIVE, 1}},
                                                             {".jpg", {cv::IMWRITE_JPEG_RST_INTERVAL, 2}},
                                                             {".webp", {}},
                                                             {".webp", {cv::IMWRITE_WEBP_QUALITY, 80}},
                                                             {".bmp", {}},
                                                             {".tiff", {}}}) {
    SCOPED_TRACE(extension + testing::PrintToString(parameters));
    const fs::path file = folder.path() / ("photo" + extension);
    std::vector<std::uint8_t> encoded;
    cv::imencode(extension, smoothNoise(), encoded, parameters);
    const std::string bytes(encoded.begin(), encoded.end());
    writeFile(file, bytes);
    expectReadAsByOpenCv(file);
    const std::size_t spare_bytes = extension == ".tiff" ? 6 : 0; // at the end: the decoder assumes the same
    for (std::size_t count = 0; count < bytes.size() - spare_bytes; count += count < 200 || count + 200 > bytes.size() ? 1 : 7) {
      writeFile(file, bytes.substr(0, count));
      EXPECT_THROW(media::openImageSource(file), Error) << count << " of " << bytes.size() << " bytes";
    }
  }
}

// ffmpeg's names of pixel formats; it interlaces PNG files when it is told to.
TEST(ImageFileKinds, EachIsReadAsByOpenCv) {
  const TemporaryFolder folder;
  const std::map<std::string, std::vector<std::string>> kinds = {
      {"png", {"pal8", "gray", "monob", "rgb24", "rgba", "rgb48be", "rgba64be", "ya8", "gray16be"}},
      {"jpg", {"gray", "yuvj420p", "yuvj422p", "yuvj444p"}},
      {"webp", {"bgra", "yuva420p"}},
      {"tiff", {"pal8", "gray", "monob", "rgb24", "rgba", "rgb48le", "gray16le"}},
      {"bmp", {"pal8", "gray", "monob", "rgb555le", "rgb565le", "bgra"}}};
  for (const auto& [extension, formats] : kinds) {
    for (const std::string& format : formats) {
      for (const std::string options : {"", "-flags +ildct "}) {
        SCOPED_TRACE(extension + ' ' + format + ' ' + options);
        const fs::path file = folder.path() / ("photo." + extension);
        ffmpeg("-y -f lavfi -i testsrc2=size=53x37 -frames:v 1 -pix_fmt " + format + ' ' + (extension == "png" ? options : "") +
               file.string());
        // OpenCV leaves the lowest 3 bits 0 of 5, and drops the lower 8 of 16, which libav rounds.
        const double tolerance = format.starts_with("rgb5") ? 7 : extension == "tiff" ? 1 : 0;
        expectReadAsByOpenCv(file, tolerance);
      }
    }
  }
}

std::string bigEndian(std::size_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift);
  }
  return text;
}

// One of three colours, without a table but long enough for the readers.
std::string profile() {
  std::string bytes = bigEndian(332, 4) + std::string(128, '\0');
  for (int index = 0; index < 200; ++index) {
    bytes += static_cast<char>(index * index);
  }
  for (const auto& [offset, text] : {std::pair(12, "mntr"), {16, "RGB "}, {20, "XYZ "}, {36, "acsp"}}) {
    bytes.replace(static_cast<std::size_t>(offset), 4, text);
  }
  return bytes.replace(68, 12, std::string("\0\0\xF6\xD6\0\1\0\0\0\0\xD3\x2D", 12));
}

// A TIFF of a camera's name, an orientation, the picture's densities (300 and 240) and sizes, and a preview.
// across: the offset of the density of rows.
std::string exif(std::size_t orientation, std::size_t across, std::size_t width, std::size_t height, const std::string& preview) {
  const auto entry = [](std::size_t tag, std::size_t type, const std::string& value) {
    return bigEndian(tag, 2) + bigEndian(type, 2) + bigEndian(type == 2 ? 4 : 1, 4) + value;
  };
  const auto number = [](std::size_t value) { return bigEndian(value, 4); };
  const std::string more = bigEndian(2, 2) + entry(0xA002, 4, number(width)) + entry(0xA003, 4, number(height)) + number(0);
  const std::string small = bigEndian(2, 2) + entry(0x0201, 4, number(150)) + entry(0x0202, 4, number(7)) + number(0);
  const std::string densities = number(300) + number(1) + number(240) + number(1);
  return std::string("MM\0\x2A\0\0\0\x08", 8) + bigEndian(5, 2) + entry(0x010F, 2, "cam1") +
         entry(0x0112, 3, bigEndian(orientation, 2) + std::string(2, '\0')) + entry(0x011A, 5, number(across)) +
         entry(0x011B, 5, number(156 - across)) + entry(0x8769, 4, number(90)) + number(preview.empty() ? 0 : 120) + densities +
         more + small + preview;
}

// From a JPEG file to each kind, and from that to a JPEG file, whose segments show what was kept.
TEST(ImageFileKinds, ProfileExifAndDensityAreKept) {
  const TemporaryFolder folder;
  std::vector<std::uint8_t> encoded;
  cv::imencode(".jpg", smoothNoise(), encoded);
  std::string bytes(encoded.begin(), encoded.end());
  bytes.replace(bytes.find("JFIF") + 7, 5, std::string("\1") + bigEndian(300, 2) + bigEndian(240, 2));
  const std::string tiff = exif(6, 74, 53, 37, "preview");
  const std::string icc = std::string("ICC_PROFILE\0\1\1", 14) + profile();
  bytes.insert(20, "\xFF\xE1" + bigEndian(tiff.size() + 8, 2) + std::string("Exif\0\0", 6) + tiff + "\xFF\xE2" +
                       bigEndian(icc.size() + 2, 2) + icc);
  writeFile(folder.path() / "in.jpg", bytes);
  const auto convert = [&](const std::string& from, const std::string& to, media::Size size) {
    const std::unique_ptr<media::Source> source = media::openImageSource(folder.path() / from);
    const std::unique_ptr<media::Sink> sink = media::openSink(folder.path() / to, source->info(), size);
    sink->write(media::Frame{media::pictureFromBgr(cv::Mat(size.height, size.width, CV_8UC3, cv::Scalar(9, 90, 200)))});
    sink->finish();
    expectReadAsByOpenCv(folder.path() / to);
    return readFile(folder.path() / to);
  };
  for (const std::string kind : {".png", ".webp", ".jpg"}) {
    SCOPED_TRACE(kind);
    convert("in.jpg", "once" + kind, {37, 53});
    const std::string twice = convert("once" + kind, "twice" + kind + ".jpg", {20, 31});
    EXPECT_NE(twice.find(icc), std::string::npos);
    EXPECT_NE(twice.find(std::string("Exif\0\0", 6) + exif(1, 82, 20, 31, "")), std::string::npos);
    if (kind != ".webp") { // which holds none
      EXPECT_EQ(twice.substr(13, 5), std::string("\1") + bigEndian(240, 2) + bigEndian(300, 2));
    }
  }
  EXPECT_EQ(readFile(folder.path() / "once.webp").substr(12, 9), std::string("VP8X\x0A\0\0\0\x28", 9)); // has both
}

// The width is a fraction among the pixels, whose offset looks like a width of 1. The decoder takes the fraction.
TEST(ImageFileKinds, APictureLargerThanItsHeaderSaysIsRefused) {
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "photo.tiff";
  const auto entry = [](std::size_t tag, std::size_t type, std::size_t value) {
    return bigEndian(tag, 2) + bigEndian(type, 2) + bigEndian(1, 4) + bigEndian(value, type == 3 ? 2 : 4) +
           (type == 3 ? std::string(2, '\0') : "");
  };
  const std::string directory = bigEndian(8, 2) + entry(0x0100, 5, 65536) + entry(0x0101, 3, 1000) + entry(0x0102, 3, 8) +
                                entry(0x0103, 3, 1) + entry(0x0106, 3, 1) + entry(0x0111, 4, 110) + entry(0x0116, 3, 1000) +
                                entry(0x0117, 4, 2000000) + bigEndian(0, 4);
  std::string bytes = std::string("MM\0\x2A\0\0\0\x08", 8) + directory + std::string(2000000, '\x55');
  writeFile(file, bytes.replace(65536, 8, bigEndian(2000, 4) + bigEndian(1, 4)));
  EXPECT_EQ(media::openImageSource(file)->info().size.width, 2000);
  EXPECT_THROW(media::openImageSource(file, {.max_pixels = 200000}), Error);
}

TEST(ImageFileKinds, OfAnAnimationTheFirstPictureIsRead) {
  const TemporaryFolder folder;
  const std::string input = "-f lavfi -i testsrc2=size=52x36:rate=1 -frames:v ";
  const fs::path first = folder.path() / "first.png";
  for (const std::string kind :
       {"-c:v libwebp_anim -lossless 1 -pix_fmt bgra -f webp", "-pix_fmt rgb24 -f apng", "-vf format=rgb24,format=rgb8 -f gif"}) {
    SCOPED_TRACE(kind);
    const fs::path file = folder.path() / "photo";
    ffmpeg(input + "1 -vf format=rgb24" + (kind.ends_with("gif") ? ",format=rgb8" : "") + ",format=rgb24 " + first.string());
    ffmpeg(input + "3 " + kind + ' ' + file.string());
    const std::unique_ptr<media::Source> source = media::openImageSource(file);
    EXPECT_EQ(source->warnings().size(), 1U);
    EXPECT_EQ(cv::norm(media::bgrOf(std::get<media::Frame>(*source->next()).picture), cv::imread(first), cv::NORM_INF), 0);
  }
}

TEST(ImageFileKinds, AJpegOfFourInksIsReadAsByOpenCv) {
  const TemporaryFolder folder;
  cv::Mat inks(37, 53, CV_8UC4);
  cv::RNG(21).fill(inks, cv::RNG::UNIFORM, 0, 256);
  jpeg_compress_struct state = {};
  jpeg_error_mgr errors = {};
  state.err = jpeg_std_error(&errors);
  jpeg_create_compress(&state);
  std::FILE* const file = std::fopen((folder.path() / "photo.jpg").c_str(), "wb");
  jpeg_stdio_dest(&state, file);
  state.image_width = static_cast<JDIMENSION>(inks.cols);
  state.image_height = static_cast<JDIMENSION>(inks.rows);
  state.input_components = 4;
  state.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&state);
  jpeg_start_compress(&state, TRUE);
  for (int row = 0; row < inks.rows; ++row) {
    JSAMPROW samples = inks.ptr(row);
    jpeg_write_scanlines(&state, &samples, 1);
  }
  jpeg_finish_compress(&state);
  jpeg_destroy_compress(&state);
  std::fclose(file);
  expectReadAsByOpenCv(folder.path() / "photo.jpg");
}

TEST(ImageFileKinds, GreyPicturesAndLowQualityTakeFewerBytes) {
  const TemporaryFolder folder;
  cv::Mat noise(64, 64, CV_8UC3);
  cv::RNG(22).fill(noise, cv::RNG::UNIFORM, 0, 256);
  cv::Mat grey;
  cv::extractChannel(noise, grey, 0);
  cv::merge(std::vector<cv::Mat>{grey, grey, grey}, grey);
  const auto bytesOf = [&](const cv::Mat& bgr, const std::string& name, std::optional<int> quality) {
    const std::unique_ptr<media::Sink> sink =
        media::openSink(folder.path() / name, {}, {64, 64}, {.overwrite = true, .quality = quality});
    sink->write(media::Frame{media::pictureFromBgr(bgr)});
    sink->finish();
    return std::filesystem::file_size(folder.path() / name);
  };
  EXPECT_LT(bytesOf(grey, "out.png", {}) * 2, bytesOf(noise, "out.png", {}));
  bytesOf(grey, "out.png", {});
  EXPECT_EQ(cv::norm(cv::imread(folder.path() / "out.png"), grey, cv::NORM_INF), 0);
  bytesOf(grey, "out.jpg", 100);
  EXPECT_LE(cv::norm(cv::imread(folder.path() / "out.jpg"), grey, cv::NORM_INF), 3);
  for (const std::string name : {"out.jpg", "out.webp"}) {
    EXPECT_LT(bytesOf(noise, name, 20) * 2, bytesOf(noise, name, {})) << name;
  }
}

} // namespace
} // namespace vorin::tests
