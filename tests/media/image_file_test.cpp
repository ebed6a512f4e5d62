// Image files as sources and sinks.
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "support/media_way.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <map>

namespace vorin::tests {
namespace {

using media::errorOf;
using media::Picture;
using testing::HasSubstr;

cv::Mat readBgr(const std::filesystem::path& file, const media::SourceOptions& options = {}) {
  const std::unique_ptr<media::Source> source = media::openImageSource(file, options);
  std::optional<media::Item> item = source->next();
  EXPECT_FALSE(source->next());
  return media::bgrOf(std::get<media::Frame>(item.value()).picture).clone();
}

// Files that zlib and Pillow made.
const fs::path kImages = VORIN_TEST_IMAGES;

// Images of one pixel: red 200, green 100, blue 10, or grey 10; a fifth opaque where there is alpha.
TEST(ImageFiles, EveryPixelTypeBecomesEightBitColour) {
  for (const std::string name : {"grey8", "colour8", "alpha8", "grey16", "colour16", "alpha16"}) {
    SCOPED_TRACE(name);
    const fs::path file = kImages / (name + ".png");
    const bool has_alpha = name.starts_with("alpha");
    const cv::Vec3b opaque = name.starts_with("grey") ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 100, 200);
    EXPECT_EQ(readBgr(file).at<cv::Vec3b>(0), has_alpha ? cv::Vec3b(206, 224, 244) : opaque);
    EXPECT_EQ(readBgr(file, {.background = 0xFF8000}).at<cv::Vec3b>(0), has_alpha ? cv::Vec3b(2, 122, 244) : opaque);
  }
}

// The left half is red 200, the right half transparent. The alpha is resized with the result; a kind without alpha gets the
// blended picture.
TEST(ImageFiles, AlphaIsKeptWhereItIsWantedAndTheOutputHoldsIt) {
  const TemporaryFolder folder;
  for (const std::string name : {"kept.png", "kept.webp", "dropped.png", "dropped.jpg"}) {
    if (!media::isImageName(name)) {
      continue;
    }
    SCOPED_TRACE(name);
    const std::unique_ptr<media::Source> source = media::openImageSource(kImages / "logo.png");
    media::writeImage(folder.path() / name, media::pictureFromBgr(cv::Mat(2, 4, CV_8UC3, cv::Scalar(0, 0, 200))),
                      {.keep_alpha = name != "dropped.png"}, source->info());
    const cv::Mat on_black = readBgr(folder.path() / name, {.background = 0});
    EXPECT_NEAR(on_black.at<cv::Vec3b>(0, 0)[2], 200, 3);
    EXPECT_NEAR(on_black.at<cv::Vec3b>(1, 3)[2], name.starts_with("kept") ? 0 : 200, 3);
  }
}

// Two pixels, red 200, green 100, blue 10, in the second row of a transparent canvas.
TEST(ImageFiles, AGifPictureSmallerThanItsCanvasLiesWhereItSays) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "photo.gif";
  writeFile(file, std::string("GIF89a\4\0\3\0\x81\0\0\0\0\0\xC8\x64\x0A\0\0\0\0\0\0\x21\xF9\4\1\0\0\3\0"
                              "\x2C\1\0\1\0\2\0\1\0\0\2\2\x4C\x0A\0\x3B",
                              49));
  cv::Mat expected(3, 4, CV_8UC3, cv::Scalar::all(255));
  expected(cv::Rect(1, 1, 2, 1)).setTo(cv::Scalar(10, 100, 200));
  const cv::Mat bgr = readBgr(file);
  ASSERT_EQ(bgr.size(), expected.size());
  EXPECT_EQ(cv::norm(bgr, expected, cv::NORM_INF), 0);
}

// Four fields of one colour each; EXIF's numbers say on which side the first row and the first column appear.
TEST(ImageFiles, AnImageMarkedAsTurnedIsTurnedUpright) {
  const TemporaryFolder folder;
  const std::map<char, cv::Vec3b> colours = {
      {'A', {220, 30, 30}}, {'B', {30, 220, 30}}, {'C', {30, 30, 220}}, {'D', {240, 240, 240}}};
  const std::vector<std::string> seen = {"ABCD", "BADC", "DCBA", "CDAB", "ACBD", "CADB", "DBCA", "BDAC"}; // rows from above
  const std::string entry("\x01\x12\0\x03\0\0\0\x01\0", 9); // of the orientation, before its value
  for (const std::string name : {"turned.jpg", "turned_xmp.jpg", "turned.webp"}) {
    if (!media::isImageName(name)) {
      continue;
    }
    const fs::path file = folder.path() / name;
    std::string bytes = readFile(kImages / name);
    for (std::size_t index = 0; index < seen.size(); ++index) {
      SCOPED_TRACE(name + ' ' + std::to_string(index + 1));
      bytes.at(bytes.find(entry) + entry.size()) = static_cast<char>(index + 1);
      writeFile(file, bytes);
      const cv::Mat upright = readBgr(file);
      ASSERT_EQ(upright.size(), index < 4 ? cv::Size(96, 32) : cv::Size(32, 96));
      for (int field = 0; field < 4; ++field) {
        const auto& pixel = upright.at<cv::Vec3b>((field / 2 * 2 + 1) * upright.rows / 4, (field % 2 * 2 + 1) * upright.cols / 4);
        // JPEG keeps a field's middle within a few steps; the colours are 190 apart.
        EXPECT_LE(cv::norm(pixel, colours.at(seen[index][static_cast<std::size_t>(field)]), cv::NORM_INF), 8) << field;
      }
    }
  }
}

TEST(ImageFiles, AnImageTakesOneFrameAndTheContentDecidesWhatAFileIs) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "out.png";
  const std::unique_ptr<media::Sink> sink = media::openSink(file, {}, {9, 7});
  sink->write(media::Frame{Picture(media::PixelLayout::kBgra, {9, 7})});
  EXPECT_THROW(sink->write(media::Frame{Picture(media::PixelLayout::kBgra, {9, 7})}), Error);
  EXPECT_FALSE(std::filesystem::exists(file));
  sink->finish();
  std::filesystem::rename(file, folder.path() / "out.mp4");
  EXPECT_EQ(media::openSource(folder.path() / "out.mp4")->info().frames_expected, 1);
}

TEST(ImageFiles, EachFaultSaysWhatIsWrong) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "photo.png";
  const auto reading = [&](const std::string& bytes) {
    writeFile(file, bytes);
    return std::string(errorOf([&] { readBgr(file); }).what());
  };
  const std::string png = readFile(kImages / "colour8.png");
  const auto claiming = [&](const std::string& width) { return png.substr(0, 16) + width + png.substr(20); };
  EXPECT_THAT(reading(""), HasSubstr("is empty"));
  EXPECT_THAT(reading("no image at all"), HasSubstr("is not a PNG, JPEG, WebP, BMP, TIFF or GIF image"));
  EXPECT_THAT(reading(png.substr(0, png.size() - 1)), HasSubstr("is truncated or damaged"));
  EXPECT_THAT(reading(claiming(std::string("\0\0\x40\x01", 4))), HasSubstr("is 16385x1 pixels, too large"));
  EXPECT_THAT(reading(claiming(std::string("\xFF\xFF\xFF\xFF", 4))), HasSubstr("too large"));
  writeFile(file, png);
  EXPECT_EQ(readBgr(file, {.max_pixels = 1}).total(), 1U);
  EXPECT_THAT(errorOf([&] { readBgr(file, {.max_pixels = 0}); }).what(), HasSubstr("claims 1x1 pixels"));
  std::string jpeg = readFile(kImages / "turned.jpg");
  jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, "\x1F\xFF\x3F\xFF");
  EXPECT_THAT(reading(jpeg), HasSubstr("claims 16383x8191 pixels in " + std::to_string(jpeg.size()) +
                                       " bytes: allow them with --max-pixels 134193153"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path()); }).what(), HasSubstr("is a folder"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path() / "none.png"); }).what(), HasSubstr("does not exist"));
  EXPECT_THAT(errorOf([&] { media::openSink(folder.path() / "out.tiff", {}, {4, 4}); }).what(), HasSubstr("use one of .png"));
}

} // namespace
} // namespace vorin::tests
