#include "look.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>

namespace vorin::stylize {
namespace {

// In 65536ths, which add up to 1, so that a grey's luma is the grey.
constexpr int kShift = 16;
constexpr std::int32_t kBlue = 7471;
constexpr std::int32_t kGreen = 38470;
constexpr std::int32_t kRed = 19595;
static_assert(kBlue + kGreen + kRed == 1 << kShift);

// Both signs round alike.
std::int32_t lumaDifference(const std::uint8_t* drawing, const std::uint8_t* source) {
  const std::int32_t sum = kBlue * (drawing[0] - source[0]) + kGreen * (drawing[1] - source[1]) + kRed * (drawing[2] - source[2]);
  return (sum + (1 << (kShift - 1))) >> kShift;
}

void keepColors(const cv::Mat& source, cv::Mat& drawing) {
  const int channels = drawing.channels();
  const int source_channels = source.channels();
  for (int row = 0; row < drawing.rows; ++row) {
    const std::uint8_t* from = source.ptr(row);
    std::uint8_t* to = drawing.ptr(row);
    for (int column = 0; column < drawing.cols; ++column, from += source_channels, to += channels) {
      const std::int32_t difference = lumaDifference(to, from);
      for (int plane = 0; plane < 3; ++plane) {
        to[plane] = static_cast<std::uint8_t>(std::clamp(from[plane] + difference, 0, 255));
      }
    }
  }
}

cv::Mat atSizeOf(const cv::Mat& source, const cv::Mat& drawing) {
  if (source.size() == drawing.size()) {
    return source;
  }
  cv::Mat resized;
  const bool shrinks = source.total() > drawing.total();
  cv::resize(source, resized, drawing.size(), 0, 0, shrinks ? cv::INTER_AREA : cv::INTER_LINEAR);
  return resized;
}

void blend(const cv::Mat& source, double strength, cv::Mat& drawing) {
  if (strength < 1) {
    cv::addWeighted(source, 1 - strength, drawing, strength, 0, drawing);
  }
}

cv::Mat withChannelsOf(const cv::Mat& source, const cv::Mat& drawing) {
  if (source.channels() == drawing.channels()) {
    return source;
  }
  cv::Mat converted;
  cv::cvtColor(source, converted, source.channels() == 3 ? cv::COLOR_BGR2BGRA : cv::COLOR_BGRA2BGR);
  return converted;
}

} // namespace

void applyLook(const Look& look, const cv::Mat& source, cv::Mat& drawing) {
  if (look.changesNothing()) {
    return;
  }
  const cv::Mat seen = withChannelsOf(atSizeOf(source, drawing), drawing);
  if (look.keep_colors) {
    keepColors(seen, drawing);
  }
  blend(seen, look.strength, drawing);
}

void applyLook(const Look& look, const Nv12Planes& source, Nv12Planes& drawing) {
  if (look.changesNothing()) {
    return;
  }
  const cv::Mat chroma = atSizeOf(source.chroma, drawing.chroma);
  if (look.keep_colors) {
    chroma.copyTo(drawing.chroma);
  }
  blend(chroma, look.strength, drawing.chroma);
  blend(atSizeOf(source.luma, drawing.luma), look.strength, drawing.luma);
}

} // namespace vorin::stylize
