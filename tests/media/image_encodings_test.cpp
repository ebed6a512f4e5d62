// Image files of more kinds than the library writes, made by OpenCV's encoders, ffmpeg and Pillow, and compared with OpenCV's
// decoders, and what files hold that the library writes. A build for Windows has none of these decoders.
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

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
  expectReadAsByOpenCv(VORIN_TEST_IMAGES "/four_inks.jpg");
  const std::map<std::string, std::vector<std::string>> kinds = {
      {"png", {"pal8", "gray", "monob", "rgb24", "rgba", "rgb48be", "rgba64be", "ya8", "gray16be"}},
      {"jpg", {"gray", "yuvj420p", "yuvj422p", "yuvj444p"}},
      {"webp", {"bgra", "yuva420p"}},
      {"tiff", {"pal8", "gray", "monob", "rgb24", "rgba", "rgb48le", "gray16le"}},
      {"bmp", {"pal8", "gray", "monob", "rgb555le", "rgb565le", "bgra"}}};
  for (const auto& [extension, formats] : kinds) {
    for (const std::string& format : formats) {
      for (const std::string options : {"", "-flags +ildct "}) {
        SCOPED_TRACE(testing::Message() << extension << ' ' << format << ' ' << options);
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

// From a JPEG file to each kind, and from that to a JPEG file, whose segments show what was kept. The EXIF data hold a camera's
// name, an orientation that turns rows to columns, densities, the sizes of the picture, and a preview at their end.
TEST(ImageFileKinds, ProfileExifAndDensityAreKept) {
  const TemporaryFolder folder;
  const std::string tags = readFile(VORIN_TEST_IMAGES "/tags.jpg");
  const std::string icc = tags.substr(tags.find("ICC_PROFILE"), 346);
  std::string exif = tags.substr(tags.find("Exif"), 156); // up to the preview
  for (const auto& [place, byte] : {std::pair(37, '\1'), {51, '\x52'}, {63, '\x4A'}, {79, '\0'}, {109, '\x14'}, {121, '\x1F'}}) {
    exif.at(static_cast<std::size_t>(place)) = byte; // upright; densities exchanged; no second directory; 20 x 31 pixels
  }
  const auto convert = [&](const fs::path& from, const std::string& to, media::Size size) {
    const std::unique_ptr<media::Source> source = media::openImageSource(from);
    const cv::Mat bgr(size.height, size.width, CV_8UC3, cv::Scalar(9, 90, 200));
    media::writeImage(folder.path() / to, media::pictureFromBgr(bgr), {}, source->info());
    expectReadAsByOpenCv(folder.path() / to);
    return readFile(folder.path() / to);
  };
  for (const std::string kind : {".png", ".webp", ".jpg"}) {
    SCOPED_TRACE(kind);
    convert(VORIN_TEST_IMAGES "/tags.jpg", "once" + kind, {37, 53});
    const std::string twice = convert(folder.path() / ("once" + kind), "twice" + kind + ".jpg", {20, 31});
    EXPECT_NE(twice.find(icc), std::string::npos);
    EXPECT_NE(twice.find(exif), std::string::npos);
    EXPECT_EQ(twice.find("preview"), std::string::npos);
    if (kind != ".webp") { // which holds no density
      EXPECT_EQ(twice.substr(13, 5), tags[13] + tags.substr(16, 2) + tags.substr(14, 2));
    }
  }
  EXPECT_EQ(readFile(folder.path() / "once.webp").substr(12, 9), std::string("VP8X\x0A\0\0\0\x28", 9)); // has both
}

TEST(ImageFileKinds, OfAnAnimationTheFirstPictureIsRead) {
  const TemporaryFolder folder;
  const std::string input = "-f lavfi -i testsrc2=size=52x36:rate=1 -frames:v ";
  const fs::path first = folder.path() / "first.png";
  for (const char* kind :
       {"-c:v libwebp_anim -lossless 1 -pix_fmt bgra -f webp", "-pix_fmt rgb24 -f apng", "-vf format=rgb24,format=rgb8 -f gif"}) {
    SCOPED_TRACE(kind);
    const fs::path file = folder.path() / "photo";
    ffmpeg(input + "1 -vf format=rgb24" + (std::string_view(kind).ends_with("gif") ? ",format=rgb8" : "") + ",format=rgb24 " +
           first.string());
    ffmpeg(input + "3 " + kind + ' ' + file.string());
    const std::unique_ptr<media::Source> source = media::openImageSource(file);
    EXPECT_EQ(source->warnings().size(), 1U);
    EXPECT_EQ(cv::norm(media::bgrOf(std::get<media::Frame>(*source->next()).picture), cv::imread(first), cv::NORM_INF), 0);
  }
}

TEST(ImageFileKinds, GreyPicturesAndLowQualityTakeFewerBytes) {
  const TemporaryFolder folder;
  cv::Mat noise(64, 64, CV_8UC3);
  cv::RNG(22).fill(noise, cv::RNG::UNIFORM, 0, 256);
  cv::Mat grey;
  cv::extractChannel(noise, grey, 0);
  cv::merge(std::vector<cv::Mat>{grey, grey, grey}, grey);
  const auto bytesOf = [&](const cv::Mat& bgr, const std::string& name, std::optional<int> quality) {
    media::writeImage(folder.path() / name, media::pictureFromBgr(bgr), {.overwrite = true, .quality = quality});
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
