// The effect Look: blends a result with its source, and may keep the source's colours.
//
// A result is blended with its source byte by byte, source * (1 - strength) + result * strength. To keep the colours, each pixel
// takes the result's luma and the source's chroma, both of BT.601 (luma = 0.299 red + 0.587 green + 0.114 blue), the matrix of
// the styles' own YUV. In blue, green, red that is the source with the difference of the lumas added to all three and clamped to
// 0 to 255, so a result equal to its source does not change it. NV12 is blended plane by plane.
#include "picture_mat.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>

namespace vorin::media {
namespace {

// In 65536ths, which add up to 1, so that the luma of a grey equals the grey.
constexpr int kShift = 16;
constexpr std::int32_t kBlue = 7471;
constexpr std::int32_t kGreen = 38470;
constexpr std::int32_t kRed = 19595;
static_assert(kBlue + kGreen + kRed == 1 << kShift);

// Rounds both signs alike.
std::int32_t lumaDifference(const std::uint8_t* result, const std::uint8_t* source) {
  const std::int32_t sum = kBlue * (result[0] - source[0]) + kGreen * (result[1] - source[1]) + kRed * (result[2] - source[2]);
  return (sum + (1 << (kShift - 1))) >> kShift;
}

void keepColours(const cv::Mat& source, cv::Mat& result) {
  const int channels = result.channels();
  const int source_channels = source.channels();
  for (int row = 0; row < result.rows; ++row) {
    const std::uint8_t* from = source.ptr(row);
    std::uint8_t* to = result.ptr(row);
    for (int column = 0; column < result.cols; ++column, from += source_channels, to += channels) {
      const std::int32_t difference = lumaDifference(to, from);
      for (int plane = 0; plane < 3; ++plane) {
        to[plane] = static_cast<std::uint8_t>(std::clamp(from[plane] + difference, 0, 255));
      }
    }
  }
}

cv::Mat atSizeOf(const cv::Mat& source, const cv::Mat& result) {
  if (source.size() == result.size()) {
    return source;
  }
  cv::Mat resized;
  const bool shrinks = source.total() > result.total();
  cv::resize(source, resized, result.size(), 0, 0, shrinks ? cv::INTER_AREA : cv::INTER_LINEAR);
  return resized;
}

void blend(const cv::Mat& source, double strength, cv::Mat& result) {
  if (strength < 1) {
    cv::addWeighted(source, 1 - strength, result, strength, 0, result);
  }
}

cv::Mat bgraOf(const Picture& picture) {
  if (picture.layout() == PixelLayout::kBgra) {
    return matOver(picture);
  }
  cv::Mat bgra;
  cv::cvtColor(bgrOf(picture), bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

} // namespace

Look::Look(double strength, bool keep_colours) : strength_(strength), keep_colours_(keep_colours) {
  if (!(strength >= 0 && strength <= 1)) {
    throw Error(ErrorKind::kUsage,
                "a strength of " + std::to_string(strength) + " is not possible: use 0 (the source) to 1 (the result)");
  }
}

void Look::apply(const Picture& source, Picture& picture) {
  if (strength_ == 1 && !keep_colours_) {
    return;
  }
  if (!picture.ownsPixels()) {
    picture = picture.copy();
  }
  cv::Mat result = matOver(picture);
  if (picture.layout() == PixelLayout::kNv12) { // then the source is, too
    cv::Mat result_chroma = chromaOver(picture);
    const cv::Mat chroma = atSizeOf(chromaOver(source), result_chroma);
    if (keep_colours_) {
      chroma.copyTo(result_chroma);
    }
    blend(chroma, strength_, result_chroma);
    blend(atSizeOf(matOver(source), result), strength_, result);
    return;
  }
  const cv::Mat seen = atSizeOf(bgraOf(source), result);
  if (keep_colours_) {
    keepColours(seen, result);
  }
  blend(seen, strength_, result);
}

} // namespace vorin::media
