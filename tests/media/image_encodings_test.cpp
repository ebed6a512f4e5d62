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
