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

cv::Mat readBgr(const std::filesystem::path& file) {
  const std::unique_ptr<media::Source> source = media::openImageSource(file);
  std::optional<media::Item> item = source->next();
  EXPECT_FALSE(source->next());
  return media::bgrOf(std::get<media::Frame>(item.value()).picture).clone();
}

// The chunks IHDR and IDAT of PNG files of one pixel: red 200, green 100, blue 10, or grey 10; fully transparent where there is
// alpha.
constexpr const char* kGrey8 = "0000000d49484452000000010000000108000000003a7e9b550000000a49444154789c63e00200000c000b673a2b9c";
constexpr const char* kColour8 =
    "0000000d4948445200000001000000010802000000907753de0000000c49444154789c633891c20500032e01377d6b541b";
constexpr const char* kAlpha8 =
    "0000000d49484452000000010000000108060000001f15c4890000000d49444154789c633891c2c50000046501376257b0b2";
constexpr const char* kGrey16 =
    "0000000d49484452000000010000000110000000006aee47160000000b49444154789c63e0e202000021001598c4a39a";
constexpr const char* kColour16 =
    "0000000d4948445200000001000000011002000000c0e78f9d0000000f49444154789c6338712225858b0b000b79026d536860b4";
constexpr const char* kAlpha16 =
    "0000000d49484452000000010000000110060000004f8518ca0000001149444154789c6338712225858b8b8101001053026d7111a6de";

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
    writeFile(file, pngBytes(chunks));
    const bool is_grey = chunks == kGrey8 || chunks == kGrey16;
    EXPECT_EQ(readBgr(file).at<cv::Vec3b>(0), is_grey ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 100, 200)) << chunks;
  }
}

// An APP1 segment with one EXIF entry: orientation (0x0112), a short.
std::string exifSegment(char orientation) {
  const std::string before("\xFF\xE1\0\x22"
                           "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0",
                           29);
  return before + orientation + std::string(6, '\0');
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
  const std::unique_ptr<media::Sink> sink = media::openSink(folder.path() / "stored.jpg", {}, {96, 32});
  sink->write(media::Frame{media::pictureFromBgr(stored)});
  sink->finish();
  const std::string bytes = readFile(folder.path() / "stored.jpg");
  const std::vector<std::string> seen = {"ABCD", "BADC", "DCBA", "CDAB", "ACBD", "CADB", "DBCA", "BDAC"}; // rows from above
  for (std::size_t index = 0; index < seen.size(); ++index) {
    writeFile(folder.path() / "turned.jpg", bytes.substr(0, 2) + exifSegment(static_cast<char>(index + 1)) + bytes.substr(2));
    const cv::Mat upright = readBgr(folder.path() / "turned.jpg");
    ASSERT_EQ(upright.size(), index < 4 ? cv::Size(96, 32) : cv::Size(32, 96)) << index + 1;
    for (int field = 0; field < 4; ++field) {
      const auto& pixel = upright.at<cv::Vec3b>((field / 2 * 2 + 1) * upright.rows / 4, (field % 2 * 2 + 1) * upright.cols / 4);
      // JPEG keeps a field's middle within a few steps; the colours are 190 apart.
      EXPECT_LE(cv::norm(pixel, colours.at(seen[index][static_cast<std::size_t>(field)]), cv::NORM_INF), 8)
          << index + 1 << ' ' << field;
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
  EXPECT_THAT(reading("no image at all"), HasSubstr("is not a PNG, JPEG, WebP or BMP image"));
  EXPECT_THAT(reading(png.substr(0, png.size() - 1)), HasSubstr("is truncated or damaged"));
  EXPECT_THAT(reading(claiming(std::string("\0\0\x40\x01", 4))), HasSubstr("is 16385x1 pixels, too large"));
  EXPECT_THAT(reading(claiming(std::string("\xFF\xFF\xFF\xFF", 4))), HasSubstr("too large"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path()); }).what(), HasSubstr("is a folder"));
  EXPECT_THAT(errorOf([&] { readBgr(folder.path() / "none.png"); }).what(), HasSubstr("does not exist"));
  EXPECT_THAT(errorOf([&] { media::openSink(folder.path() / "out.tiff", {}, {4, 4}); }).what(), HasSubstr("use one of .png"));
}

} // namespace
} // namespace vorin::tests
