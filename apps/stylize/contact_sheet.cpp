#include "contact_sheet.h"

#include "sources_and_sinks.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <span>
#include <string_view>

namespace vorin::stylize {
namespace {

constexpr int kCellWidth = 640;
constexpr int kCellHeight = 640;
constexpr int kGap = 16;
constexpr int kCaptionHeight = 32;
constexpr int kNarrowestCaption = 120; // the name of a style fits, and overlaps only a gap
constexpr std::size_t kPicturesInARow = 3;

using Row = std::span<const SheetPicture>;

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kScale = 0.7;

// The fonts hold only ASCII. These are the Latin letters from U+00C0 on without their marks:
constexpr std::string_view kPlainLetters = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty"
                                           "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlL"
                                           "lLlNnNnNnnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzs";

// Returns a letter for each character, "?" if none is like it; drops marks that follow their letter (U+0300 to U+036F).
std::string plainText(std::string_view utf8) {
  std::string plain;
  for (std::size_t at = 0; at < utf8.size();) {
    const auto first = static_cast<unsigned char>(utf8[at++]);
    const std::size_t begin = at;
    while (at < utf8.size() && (static_cast<unsigned char>(utf8[at]) & 0xC0U) == 0x80) {
      ++at;
    }
    const bool is_pair = first >= 0xC0 && first < 0xE0 && at == begin + 1;
    const std::size_t code = is_pair ? (first & 0x1FU) * 64U + (static_cast<unsigned char>(utf8[begin]) & 0x3FU) : 0;
    if (first < 0x80) {
      plain += static_cast<char>(first);
    } else if (code < 0x300 || code > 0x36F) {
      plain += code >= 0xC0 && code - 0xC0 < kPlainLetters.size() ? kPlainLetters[code - 0xC0] : '?';
    }
  }
  return plain;
}

cv::Size captionSize(const std::string& caption) {
  int baseline = 0;
  return cv::getTextSize(caption, kFont, kScale, 1, &baseline);
}

void drawCaption(cv::Mat& sheet, const std::string& utf8, int left, int top, int width) {
  std::string caption = plainText(utf8);
  while (caption.size() > 1 && captionSize(caption).width > std::max(width, kNarrowestCaption)) {
    caption.pop_back();
  }
  const cv::Size text = captionSize(caption);
  const cv::Point origin(left + std::max(0, (width - text.width) / 2), top + (kCaptionHeight + text.height) / 2);
  cv::putText(sheet, caption, origin, kFont, kScale, cv::Scalar::all(40), 1, cv::LINE_AA);
}

int widthOf(Row row) {
  int width = kGap;
  for (const SheetPicture& picture : row) {
    width += picture.bgr.cols + kGap;
  }
  return width;
}

int heightOf(Row row) {
  int height = 0;
  for (const SheetPicture& picture : row) {
    height = std::max(height, picture.bgr.rows);
  }
  return height + kCaptionHeight + kGap;
}

std::vector<Row> rowsOf(const std::vector<std::vector<SheetPicture>>& groups) {
  std::vector<Row> rows;
  for (Row rest : groups) {
    while (!rest.empty()) {
      const std::size_t count = std::min(rest.size(), kPicturesInARow);
      rows.push_back(rest.first(count));
      rest = rest.subspan(count);
    }
  }
  return rows;
}

void drawRow(cv::Mat& sheet, Row row, int top) {
  int left = (sheet.cols - widthOf(row)) / 2 + kGap;
  const int caption_top = top + heightOf(row) - kCaptionHeight - kGap;
  for (const SheetPicture& picture : row) {
    picture.bgr.copyTo(sheet(cv::Rect({left, caption_top - picture.bgr.rows}, picture.bgr.size())));
    drawCaption(sheet, picture.caption, left, caption_top, picture.bgr.cols);
    left += picture.bgr.cols + kGap;
  }
}

} // namespace

cv::Mat shrunkForSheet(const cv::Mat& bgr) {
  const double scale = std::min(static_cast<double>(kCellWidth) / bgr.cols, static_cast<double>(kCellHeight) / bgr.rows);
  if (scale >= 1) {
    return bgr;
  }
  const cv::Size size(std::max(1, cvRound(bgr.cols * scale)), std::max(1, cvRound(bgr.rows * scale)));
  cv::Mat shrunk;
  cv::resize(bgr, shrunk, size, 0, 0, cv::INTER_AREA);
  return shrunk;
}

cv::Mat makeContactSheet(const std::vector<std::vector<SheetPicture>>& groups) {
  const std::vector<Row> rows = rowsOf(groups);
  std::uint64_t width = 0;
  std::uint64_t height = kGap;
  for (const Row row : rows) {
    width = std::max(width, static_cast<std::uint64_t>(widthOf(row)));
    height += static_cast<std::uint64_t>(heightOf(row));
  }
  if (!media::isUsableSize(width, height)) {
    throw Error(ErrorKind::kUsage, "the sheet would be larger than " + media::sizeLimits() + " allow: name fewer images");
  }
  cv::Mat sheet(static_cast<int>(height), static_cast<int>(width), CV_8UC3, cv::Scalar::all(255));
  int top = kGap;
  for (const Row row : rows) {
    drawRow(sheet, row, top);
    top += heightOf(row);
  }
  return sheet;
}

} // namespace vorin::stylize
