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

// The chunks IHDR and IDAT of PNG files of one pixel: red 200, green 100, blue 10, or grey 10; a fifth opaque where there is
// alpha.
constexpr const char* kGrey8 = "0000000d49484452000000010000000108000000003a7e9b550000000a49444154789c63e00200000c000b673a2b9c";
constexpr const char* kColour8 =
    "0000000d4948445200000001000000010802000000907753de0000000c49444154789c633891c20500032e01377d6b541b";
constexpr const char* kAlpha8 =
    "0000000d49484452000000010000000108060000001f15c4890000000d4944415478da633891c2650c000498016a25a67c7d";
constexpr const char* kGrey16 =
    "0000000d49484452000000010000000110000000006aee47160000000b49444154789c63e0e202000021001598c4a39a";
constexpr const char* kColour16 =
    "0000000d4948445200000001000000011002000000c0e78f9d0000000f49444154789c6338712225858b0b000b79026d536860b4";
constexpr const char* kAlpha16 =
    "0000000d49484452000000010000000110060000004f8518ca000000114944415478da6338712225858bcbd8180010ec02d3552c23bc";

// 16 x 8 pixels: the left half red 200, the right half transparent.
constexpr const char* kLogo = "0000000d4948445200000010000000080806000000f0767f970000001b494441"
                              "5478da6338c1c0f01f1fe6e4e464c08719460d180e0600000a5778811d34f543";

std::string pngBytes(const std::string& chunks) {
  std::string bytes;
  for (std::size_t at = 0; at < chunks.size(); at += 2) {
    bytes += static_cast<char>(std::stoi(chunks.substr(at, 2), nullptr, 16));
  }
  return "\x89PNG\r\n\x1A\n" + bytes + std::string("\0\0\0\0IEND\xAE\x42\x60\x82", 12);
}

TEST(ImageFiles, EveryPixelTypeBecomesEightBitColour) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "photo.png";
  for (const char* chunks : {kGrey8, kColour8, kAlpha8, kGrey16, kColour16, kAlpha16}) {
    SCOPED_TRACE(chunks);
    writeFile(file, pngBytes(chunks));
    const bool is_grey = chunks == kGrey8 || chunks == kGrey16;
    const bool has_alpha = chunks == kAlpha8 || chunks == kAlpha16;
    const cv::Vec3b opaque = is_grey ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 100, 200);
    EXPECT_EQ(readBgr(file).at<cv::Vec3b>(0), has_alpha ? cv::Vec3b(206, 224, 244) : opaque);
    EXPECT_EQ(readBgr(file, {.background = 0xFF8000}).at<cv::Vec3b>(0), has_alpha ? cv::Vec3b(2, 122, 244) : opaque);
  }
}

// The alpha is resized with the result; a kind without alpha gets the blended picture.
TEST(ImageFiles, AlphaIsKeptWhereItIsWantedAndTheOutputHoldsIt) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "logo.png";
  writeFile(file, pngBytes(kLogo));
  for (const std::string name : {"kept.png", "kept.webp", "dropped.png", "dropped.jpg"}) {
    if (!media::isImageName(name)) {
      continue;
    }
    SCOPED_TRACE(name);
    const std::unique_ptr<media::Source> source = media::openImageSource(file);
    const std::unique_ptr<media::Sink> sink =
        media::openSink(folder.path() / name, source->info(), {4, 2}, {.keep_alpha = name != "dropped.png"});
    sink->write(media::Frame{media::pictureFromBgr(cv::Mat(2, 4, CV_8UC3, cv::Scalar(0, 0, 200)))});
    sink->finish();
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

// An APP1 segment with one EXIF entry: orientation (0x0112), a short.
std::string exifSegment(char orientation) {
  const std::string before("\xFF\xE1\0\x22"
                           "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0",
                           29);
  return before + orientation + std::string(6, '\0');
}

std::string number(std::size_t value) {
  return {static_cast<char>(value), static_cast<char>(value >> 8U), static_cast<char>(value >> 16U),
          static_cast<char>(value >> 24U)};
}

// The bytes of a JPEG file, or of a WebP file of 96 x 32 pixels with one chunk, marked with the orientation.
std::string marked(const std::string& kind, const std::string& bytes, char orientation) {
  const std::string exif = exifSegment(orientation);
  if (kind == "webp") {
    const std::string canvas("VP8X\x0A\0\0\0\x08\0\0\0\x5F\0\0\x1F\0\0", 18);
    const std::string tiff = exif.substr(10);
    const std::string chunks = canvas + bytes.substr(12) + "EXIF" + number(tiff.size()) + tiff;
    return "RIFF" + number(chunks.size() + 4) + "WEBP" + chunks;
  }
  const std::string xmp("\xFF\xE1\0\x23http://ns.adobe.com/xap/1.0/\0<x/>", 37);
  return bytes.substr(0, 2) + (kind == "jpg with XMP" ? xmp : "") + exif + bytes.substr(2);
}

// Four fields of one colour each; EXIF's numbers say on which side the first row and the first column appear.
TEST(ImageFiles, AnImageMarkedAsTurnedIsTurnedUpright) {
  const TemporaryFolder folder;
  const std::map<char, cv::Vec3b> colours = {
      {'A', {220, 30, 30}}, {'B', {30, 220, 30}}, {'C', {30, 30, 220}}, {'D', {240, 240, 240}}};
  cv::Mat stored(32, 96, CV_8UC3);
  for (const auto& [name, colour] : colours) {
    stored(cv::Rect((name - 'A') % 2 * 48, (name - 'A') / 2 * 16, 48, 16)).setTo(cv::Scalar(colour[0], colour[1], colour[2]));
  }
  const std::vector<std::string> seen = {"ABCD", "BADC", "DCBA", "CDAB", "ACBD", "CADB", "DBCA", "BDAC"}; // rows from above
  for (const std::string kind : {"jpg", "jpg with XMP", "webp"}) {
    const std::filesystem::path file = folder.path() / ("photo." + kind.substr(0, kind.find(' ')));
    if (!media::isImageName(file)) {
      continue;
    }
    const std::unique_ptr<media::Sink> sink = media::openSink(file, {}, {96, 32}, {.overwrite = true});
    sink->write(media::Frame{media::pictureFromBgr(stored)});
    sink->finish();
    const std::string bytes = readFile(file);
    for (std::size_t index = 0; index < seen.size(); ++index) {
      SCOPED_TRACE(kind + ' ' + std::to_string(index + 1));
      writeFile(file, marked(kind, bytes, static_cast<char>(index + 1)));
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
  const std::string png = pngBytes(kColour8);
  const auto claiming = [&](const std::string& width) { return png.substr(0, 16) + width + png.substr(20); };
  EXPECT_THAT(reading(""), HasSubstr("is empty"));
  EXPECT_THAT(reading("no image at all"), HasSubstr("is not a PNG, JPEG, WebP, BMP, TIFF or GIF image"));
  EXPECT_THAT(reading(png.substr(0, png.size() - 1)), HasSubstr("is truncated or damaged"));
  EXPECT_THAT(reading(claiming(std::string("\0\0\x40\x01", 4))), HasSubstr("is 16385x1 pixels, too large"));
  EXPECT_THAT(reading(claiming(std::string("\xFF\xFF\xFF\xFF", 4))), HasSubstr("too large"));
  writeFile(file, png);
  EXPECT_EQ(readBgr(file, {.max_pixels = 1}).total(), 1U);
  EXPECT_THAT(errorOf([&] { readBgr(file, {.max_pixels = 0}); }).what(), HasSubstr("claims 1x1 pixels"));
  const std::unique_ptr<media::Sink> sink = media::openSink(folder.path() / "small.jpg", {}, {16, 16});
  sink->write(media::Frame{Picture(media::PixelLayout::kBgra, {16, 16})});
  sink->finish();
  std::string jpeg = readFile(folder.path() / "small.jpg");
  jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, "\x1F\xFF\x3F\xFF");
  EXPECT_THAT(reading(jpeg), HasSubstr("claims 16383x8191 pixels in " + std::to_string(jpeg.size()) +
                                       " bytes: allow them with --max-pixels 134193153"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path()); }).what(), HasSubstr("is a folder"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path() / "none.png"); }).what(), HasSubstr("does not exist"));
  EXPECT_THAT(errorOf([&] { media::openSink(folder.path() / "out.tiff", {}, {4, 4}); }).what(), HasSubstr("use one of .png"));
}

} // namespace
} // namespace vorin::tests
