// The pieces of vorin-stylize that are worth testing alone: sizes, image files and frame conversions.

#include "contact_sheet.h"
#include "exit_status.h"
#include "frame_conversion.h"
#include "image_file.h"
#include "output_file.h"
#include "output_path.h"
#include "picture_size.h"
#include "support/package_bytes.h"
#include "support/plain_colour.h"
#include "support/stylize_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

namespace vorin::tests {
namespace {

using namespace vorin::stylize;

TEST(PictureSize, ParsesPlainDecimalSizesOnly) {
  EXPECT_EQ(parseSize("640x480"), cv::Size(640, 480));
  EXPECT_EQ(parseSize("1x16384"), cv::Size(1, 16384));
  EXPECT_EQ(parseSize("16384x8192"), cv::Size(16384, 8192));
  for (const char* text :
       {"",     "x",    "640", "640x",  "x480",  "0x1",    "1x0",     "-1x1",    "+1x1",       "1x-1",
        " 1x1", "1x1 ", "1X1", "1x1x1", "1.5x1", "0x10x1", "16385x1", "1x16385", "16384x8193", "18446744073709551617x1"}) {
    EXPECT_EQ(parseSize(text), std::nullopt) << text;
  }
}

TEST(ContactSheet, CaptionsAreWrittenWithPlainLetters) {
  const auto sheet = [](const char* caption) {
    return makeContactSheet({{{cv::Mat(40, 200, CV_8UC3, cv::Scalar::all(90)), caption}}});
  };
  for (const auto& [caption, plain] :
       {std::pair("sp\u00E4\u00DF \u00FC x", "spas u x"), std::pair("a\u0308 \u0141\u00F3d\u017A", "a Lodz"),
        std::pair("\u65E5\u672C \U0001F600", "?? ?"), std::pair("\xE4\xC3", "??")}) {
    EXPECT_EQ(cv::norm(sheet(caption), sheet(plain), cv::NORM_INF), 0) << caption;
  }
  EXPECT_NE(cv::norm(sheet("a"), sheet("o"), cv::NORM_INF), 0);
}

// ---- Image files ----

TEST(ImageFiles, EveryPixelTypeBecomesEightBitColour) {
  const StylizeRun run;
  const cv::Scalar colour(10, 100, 200, 0); // fully transparent where there is an alpha channel
  for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4, CV_16UC1, CV_16UC3, CV_16UC4}) {
    const double scale = CV_MAT_DEPTH(type) == CV_16U ? 257 : 1;
    writeFile(run.file("photo.png"), pngBytes(cv::Mat(5, 7, type, colour * scale)));
    const cv::Mat picture = readPicture(run.file("photo.png"));
    ASSERT_EQ(picture.type(), CV_8UC3);
    const bool is_grey = CV_MAT_CN(type) == 1;
    const cv::Vec3b expected = is_grey ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 100, 200);
    EXPECT_EQ(picture.at<cv::Vec3b>(4, 6), expected) << type;
  }
}

// An APP1 segment with one EXIF entry: orientation (0x0112), a short.
std::string exifSegment(char orientation) {
  const std::string before("\xFF\xE1\0\x22"
                           "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0",
                           29);
  return before + orientation + std::string(6, '\0');
}

// Four fields of one colour each; EXIF's numbers say where the first row and the first column are to be seen.
TEST(ImageFiles, PhotoMarkedAsTurnedIsTurnedUpright) {
  const StylizeRun run;
  const std::map<char, cv::Vec3b> colours = {
      {'A', {220, 30, 30}}, {'B', {30, 220, 30}}, {'C', {30, 30, 220}}, {'D', {240, 240, 240}}};
  cv::Mat stored(32, 96, CV_8UC3);
  for (const auto& [name, colour] : colours) {
    stored(cv::Rect((name - 'A') % 2 * 48, (name - 'A') / 2 * 16, 48, 16)).setTo(cv::Scalar(colour[0], colour[1], colour[2]));
  }
  savePicture(run.file("stored.jpg"), stored);
  const std::string bytes = readFile(run.file("stored.jpg"));
  const std::vector<std::string> seen = {"ABCD", "BADC", "DCBA", "CDAB", "ACBD", "CADB", "DBCA", "BDAC"}; // rows from above
  for (std::size_t index = 0; index < seen.size(); ++index) {
    writeFile(run.file("turned.jpg"), bytes.substr(0, 2) + exifSegment(static_cast<char>(index + 1)) + bytes.substr(2));
    const cv::Mat upright = readPicture(run.file("turned.jpg"));
    ASSERT_EQ(upright.size(), index < 4 ? cv::Size(96, 32) : cv::Size(32, 96)) << index + 1;
    for (int field = 0; field < 4; ++field) {
      const auto& pixel = upright.at<cv::Vec3b>((field / 2 * 2 + 1) * upright.rows / 4, (field % 2 * 2 + 1) * upright.cols / 4);
      // JPEG keeps a field's middle within a few steps; the colours are 190 apart.
      EXPECT_LE(cv::norm(pixel, colours.at(seen[index][static_cast<std::size_t>(field)]), cv::NORM_INF), 8)
          << index + 1 << ' ' << field;
    }
  }
}

TEST(ImageFiles, AnOutputKeepsAFileMadeMeanwhile) {
  const StylizeRun run;
  const std::vector<std::uint8_t> content = {1, 2, 3};
  base::OutputFile output(run.file("out.png"), false);
  std::ofstream(run.file("out.png")) << "theirs";
  output.write(content);
  EXPECT_THROW(output.commit(), base::OutputError);
  EXPECT_EQ(readFile(run.file("out.png")), "theirs");
}

// ---- Frame conversions ----

std::uint8_t byteAt(const Frame& frame, std::size_t index) {
  return frame.bytes.at(index);
}

// The samples of a pixel in the order of its format, found by the format's own layout.
Yuv yuvAt(const Frame& frame, int row, int column) {
  const auto width = static_cast<std::size_t>(frame.size.width);
  const auto x = static_cast<std::size_t>(column);
  const auto y = static_cast<std::size_t>(row);
  if (frame.format == VORIN_FMT_YUY2) {
    const std::size_t pair = y * width * 2 + x / 2 * 4;
    return {byteAt(frame, pair + x % 2 * 2), byteAt(frame, pair + 1), byteAt(frame, pair + 3)};
  }
  const std::size_t chroma = width * static_cast<std::size_t>(frame.size.height) + y / 2 * width + x / 2 * 2;
  return {byteAt(frame, y * width + x), byteAt(frame, chroma), byteAt(frame, chroma + 1)};
}

TEST(FrameConversion, FramesOfTheYuvFormatsFollowTheirDefinition) {
  const cv::Mat picture = makePhoto({16, 12}); // neighbours that share colour have the same one
  for (const char* name : {"nv12", "yuy2"}) {
    const Frame frame = frameFromPicture(*findFrameFormat(name), picture);
    for (int row = 0; row < picture.rows; ++row) {
      for (int column = 0; column < picture.cols; ++column) {
        const auto& pixel = picture.at<cv::Vec3b>(row, column);
        const Yuv expected = videoYuv({pixel[0], pixel[1], pixel[2]});
        const Yuv actual = yuvAt(frame, row, column);
        for (std::size_t sample = 0; sample < 3; ++sample) {
          // One step for rounding, one for coefficients of three digits.
          ASSERT_NEAR(actual[sample], expected[sample], 2) << name << ' ' << row << ' ' << column << ' ' << sample;
        }
      }
    }
  }
}

// The library writes NV12 in video range, as above, but YUY2 in full range.
Frame fullRangeYuy2(const cv::Mat& picture) {
  Frame frame = emptyFrame(*findFrameFormat("yuy2"), picture.size());
  for (int row = 0; row < picture.rows; ++row) {
    for (int column = 0; column < picture.cols; ++column) {
      const auto& pixel = picture.at<cv::Vec3b>(row, column);
      const Yuv yuv = fullYuv({pixel[0], pixel[1], pixel[2]});
      const auto at = static_cast<std::size_t>(row * picture.cols + column) * 2;
      frame.bytes.at(at) = yuv[0];
      frame.bytes.at(at + 1) = column % 2 == 0 ? yuv[1] : yuv[2];
    }
  }
  return frame;
}

TEST(FrameConversion, PicturesComeBackFromTheYuvFormatsThatTheLibraryWrites) {
  // No saturated colours: V of pure red lies beyond a byte in full range.
  const cv::Mat picture = makePhoto({16, 12}) / 2 + cv::Scalar::all(60);
  for (const Frame& frame : {frameFromPicture(*findFrameFormat("nv12"), picture), fullRangeYuy2(picture)}) {
    // Half a step of chroma is worth one step of blue or red; luma and both roundings add to it.
    EXPECT_LE(cv::norm(pictureFromFrame(frame), picture, cv::NORM_INF), 4) << "format " << frame.format;
  }
}

TEST(FrameConversion, RgbFormatsKeepEveryByteInTheirOrder) {
  const cv::Mat picture = makePhoto({7, 5});
  const auto& pixel = picture.at<cv::Vec3b>(4, 6);
  const std::size_t index = 4 * 7 + 6;
  const Frame bgra = frameFromPicture(*findFrameFormat("bgra"), picture);
  const Frame rgba = frameFromPicture(*findFrameFormat("rgba"), picture);
  const Frame bgr24 = frameFromPicture(*findFrameFormat("bgr24"), picture);
  for (std::size_t channel = 0; channel < 3; ++channel) {
    const auto cv_channel = static_cast<int>(channel);
    EXPECT_EQ(byteAt(bgra, index * 4 + channel), pixel[cv_channel]);
    EXPECT_EQ(byteAt(rgba, index * 4 + 2 - channel), pixel[cv_channel]);
    EXPECT_EQ(byteAt(bgr24, index * 3 + channel), pixel[cv_channel]);
  }
  for (const Frame* frame : {&bgra, &rgba, &bgr24}) {
    EXPECT_EQ(cv::norm(pictureFromFrame(*frame), picture, cv::NORM_INF), 0);
  }
}

TEST(FrameConversion, OddPicturesRepeatTheirLastColumnAndRow) {
  const cv::Mat picture = makePhoto({7, 5});
  const Frame frame = frameFromPicture(*findFrameFormat("nv12"), picture);
  ASSERT_EQ(frame.size, cv::Size(8, 6));
  ASSERT_EQ(frame.bytes.size(), 8U * 6 * 3 / 2);
  for (int row = 0; row < 6; ++row) {
    EXPECT_EQ(yuvAt(frame, row, 7)[0], yuvAt(frame, row, 6)[0]);
  }
  for (int column = 0; column < 8; ++column) {
    EXPECT_EQ(yuvAt(frame, 5, column)[0], yuvAt(frame, 4, column)[0]);
  }
}

} // namespace
} // namespace vorin::tests
