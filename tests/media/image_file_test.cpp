// Image files as sources and sinks.
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "support/stylize_run.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <fstream>
#include <map>

namespace vorin::tests {
namespace {

using media::Picture;
using testing::HasSubstr;

cv::Mat readBgr(const std::filesystem::path& file, const media::SourceOptions& options = {}) {
  const std::unique_ptr<media::Source> source = media::openImageSource(file, options);
  std::optional<media::Item> item = source->next();
  EXPECT_FALSE(source->next());
  return media::bgrOf(std::get<media::Frame>(item.value()).picture).clone();
}

void writeFile(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

TEST(ImageFiles, EveryPixelTypeBecomesEightBitColour) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "photo.png";
  const cv::Scalar colour(10, 100, 200, 51); // a fifth opaque where there is an alpha channel
  for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4, CV_16UC1, CV_16UC3, CV_16UC4}) {
    const double scale = CV_MAT_DEPTH(type) == CV_16U ? 257 : 1;
    writeFile(file, pngBytes(cv::Mat(5, 7, type, colour * scale)));
    const bool is_grey = CV_MAT_CN(type) == 1;
    const bool has_alpha = CV_MAT_CN(type) == 4;
    const cv::Vec3b opaque = is_grey ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 100, 200);
    EXPECT_EQ(readBgr(file).at<cv::Vec3b>(4, 6), has_alpha ? cv::Vec3b(206, 224, 244) : opaque) << type;
    const cv::Vec3b on_orange = readBgr(file, {.background = 0xFF8000}).at<cv::Vec3b>(4, 6);
    EXPECT_EQ(on_orange, has_alpha ? cv::Vec3b(2, 122, 244) : opaque) << type;
  }
}

// The alpha is resized with the result; a kind without alpha gets the blended picture.
TEST(ImageFiles, AlphaIsKeptWhereItIsWantedAndTheOutputHoldsIt) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "logo.png";
  cv::Mat logo(8, 16, CV_8UC4, cv::Scalar(0, 0, 200, 255));
  logo.colRange(8, 16).setTo(cv::Scalar(9, 9, 9, 0));
  writeFile(file, pngBytes(logo));
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

// An APP1 segment with one EXIF entry: orientation (0x0112), a short.
std::string exifSegment(char orientation) {
  const std::string before("\xFF\xE1\0\x22"
                           "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0",
                           29);
  return before + orientation + std::string(6, '\0');
}

TEST(ImageFiles, GreyPicturesAndLowQualityTakeFewerBytes) {
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
  EXPECT_EQ(cv::norm(readBgr(folder.path() / "out.png"), grey, cv::NORM_INF), 0);
  bytesOf(grey, "out.jpg", 100);
  EXPECT_LE(cv::norm(readBgr(folder.path() / "out.jpg"), grey, cv::NORM_INF), 3);
  for (const std::string name : {"out.jpg", "out.webp"}) {
    if (media::isImageName(name)) {
      EXPECT_LT(bytesOf(noise, name, 20) * 2, bytesOf(noise, name, {})) << name;
    }
  }
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

std::string failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  }
  return "none";
}

TEST(ImageFiles, EachFaultSaysWhatIsWrong) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "photo.png";
  const auto reading = [&](const std::string& bytes) {
    writeFile(file, bytes);
    return failure([&] { readBgr(file); });
  };
  const std::string png = pngBytes(cv::Mat(5, 7, CV_8UC3, cv::Scalar::all(9)));
  const auto claiming = [&](const std::string& width) { return png.substr(0, 16) + width + png.substr(20); };
  EXPECT_THAT(reading(""), HasSubstr("is empty"));
  EXPECT_THAT(reading("no image at all"), HasSubstr("is not a PNG, JPEG, WebP, BMP, TIFF or GIF image"));
  EXPECT_THAT(reading(png.substr(0, png.size() - 1)), HasSubstr("is truncated or damaged"));
  EXPECT_THAT(reading(claiming(std::string("\0\0\x40\x01", 4))), HasSubstr("is 16385x5 pixels, too large"));
  EXPECT_THAT(reading(claiming(std::string("\xFF\xFF\xFF\xFF", 4))), HasSubstr("too large"));
  writeFile(file, png);
  EXPECT_EQ(failure([&] { readBgr(file, {.max_pixels = 35}); }), "none");
  EXPECT_THAT(failure([&] { readBgr(file, {.max_pixels = 34}); }), HasSubstr("claims 7x5 pixels"));
  const std::unique_ptr<media::Sink> sink = media::openSink(folder.path() / "small.jpg", {}, {16, 16});
  sink->write(media::Frame{Picture(media::PixelLayout::kBgra, {16, 16})});
  sink->finish();
  std::string jpeg = readFile(folder.path() / "small.jpg");
  jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, "\x1F\xFF\x3F\xFF");
  EXPECT_THAT(reading(jpeg), HasSubstr("claims 16383x8191 pixels in " + std::to_string(jpeg.size()) +
                                       " bytes: allow them with --max-pixels 134193153"));
  EXPECT_THAT(failure([&] { readBgr(folder.path()); }), HasSubstr("is a folder"));
  EXPECT_THAT(failure([&] { readBgr(folder.path() / "none.png"); }), HasSubstr("does not exist"));
  EXPECT_THAT(failure([&] { media::openSink(folder.path() / "out.tiff", {}, {4, 4}); }), HasSubstr("use one of .png"));
}

} // namespace
} // namespace vorin::tests
