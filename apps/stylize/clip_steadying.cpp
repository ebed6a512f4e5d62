#include "clip_steadying.h"

#include "picture_planes.h"

#include <opencv2/imgproc.hpp>

namespace vorin::stylize {

steady::SteadyBlend steadyBlendFor(SttStyleType style) {
  constexpr double kLongMemory = 0.97;
  switch (style) {
  case SttStyleStippling: // dots blended are a grey
    return steady::SteadyBlend(steady::Texture::kDots);
  case SttStyleTransfer: // the library blends its drawings already, at the same place: in a pan, what that smears flickers
    return steady::SteadyBlend(steady::Texture::kStrokes, kLongMemory);
  default:
    return steady::SteadyBlend(steady::Texture::kStrokes);
  }
}

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
    blend_.apply(planes.luma, planes.chroma);
  } else {
    cv::Mat pixels = bgraPixelsOf(drawing);
    cv::cvtColor(pixels, drawn_bgr_, cv::COLOR_BGRA2BGR);
    cv::mixChannels({blend_.apply(drawn_bgr_)}, {pixels}, {0, 0, 1, 1, 2, 2});
  }
}

} // namespace vorin::stylize
