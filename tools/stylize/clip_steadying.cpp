#include "clip_steadying.h"

#include "picture_planes.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace vorin::stylize {
namespace {

// Each pixel with the colour of the four that share it.
void interleave(const Nv12Planes& planes, cv::Mat& pixels) {
  pixels.create(planes.luma.size(), CV_8UC3);
  cv::parallel_for_(cv::Range(0, pixels.rows), [&](const cv::Range& rows) {
    for (int row = rows.start; row < rows.end; ++row) {
      const auto* luma = planes.luma.ptr(row);
      const auto* chroma = planes.chroma.ptr(row / 2);
      auto* pixel = pixels.ptr(row);
      for (int column = 0; column < pixels.cols; column += 2, luma += 2, chroma += 2, pixel += 6) {
        pixel[0] = luma[0];
        pixel[3] = luma[1];
        pixel[1] = pixel[4] = chroma[0];
        pixel[2] = pixel[5] = chroma[1];
      }
    }
  });
}

// Four pixels share their mean colour, rounded to nearest: that of four alike is their own.
void separate(const cv::Mat& pixels, Nv12Planes& planes) {
  cv::parallel_for_(cv::Range(0, planes.chroma.rows), [&](const cv::Range& rows) {
    for (int row = rows.start; row < rows.end; ++row) {
      const auto* above = pixels.ptr(2 * row);
      const auto* below = pixels.ptr(2 * row + 1);
      auto* luma_above = planes.luma.ptr(2 * row);
      auto* luma_below = planes.luma.ptr(2 * row + 1);
      auto* chroma = planes.chroma.ptr(row);
      for (int column = 0; column < pixels.cols; column += 2, above += 6, below += 6, chroma += 2) {
        luma_above[column] = above[0];
        luma_above[column + 1] = above[3];
        luma_below[column] = below[0];
        luma_below[column + 1] = below[3];
        chroma[0] = static_cast<std::uint8_t>((above[1] + above[4] + below[1] + below[4] + 2) / 4);
        chroma[1] = static_cast<std::uint8_t>((above[2] + above[5] + below[2] + below[5] + 2) / 4);
      }
    }
  });
}

// Dots blended are a grey.
steady::Texture textureOf(const Style& style) {
  return style.type == SttStyleStippling ? steady::Texture::kDots : steady::Texture::kStrokes;
}

} // namespace

ClipSteadying::ClipSteadying(const Style& style) : blend_(textureOf(style)) {}

std::future<void> ClipSteadying::see(const media::Picture& source, media::Size drawing_size) {
  return std::async(std::launch::async, [this, &source, size = cv::Size(drawing_size.width, drawing_size.height)] {
    if (source.layout == media::PixelLayout::kBgra) {
      cv::cvtColor(bgraPixelsOf(source), source_bgr_, cv::COLOR_BGRA2BGR);
      blend_.see(source_bgr_, size);
    } else {
      blend_.see(planesOf(source).luma, size);
    }
  });
}

void ClipSteadying::apply(media::Picture& drawing) {
  if (drawing.layout == media::PixelLayout::kNv12) {
    Nv12Planes planes = planesOf(drawing);
    interleave(planes, drawn_);
    separate(blend_.apply(drawn_), planes);
  } else {
    cv::Mat pixels = bgraPixelsOf(drawing);
    cv::cvtColor(pixels, drawn_, cv::COLOR_BGRA2BGR);
    cv::mixChannels({blend_.apply(drawn_)}, {pixels}, {0, 0, 1, 1, 2, 2});
  }
}

} // namespace vorin::stylize
