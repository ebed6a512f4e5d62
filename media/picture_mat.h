// picture_mat.h: OpenCV's view of a picture, without a copy. OpenCV has no type for read-only pixels: a Mat over a const
// picture must not be written to. Private to this library and the project's programs.
#pragma once

#include "vorin_media.hpp"

#include <opencv2/core/mat.hpp>

namespace vorin::media {

// The picture's first plane: all channels of an RGB layout, the luma of NV12, 2 channels of YUY2.
inline cv::Mat matOver(const Picture& picture) {
  const auto [width, height] = picture.size();
  const int channels = picture.isEmpty() ? 1 : static_cast<int>(picture.rowBytes()) / width;
  return {height, width, CV_8UC(channels), const_cast<std::uint8_t*>(picture.pixels()), picture.pitchBytes()};
}

// The chroma plane of NV12, pairs for 2 x 2 pixels.
inline cv::Mat chromaOver(const Picture& nv12) {
  const auto [width, height] = nv12.size();
  std::uint8_t* const first = const_cast<std::uint8_t*>(nv12.pixels()) + nv12.pitchBytes() * static_cast<std::size_t>(height);
  return {height / 2, width / 2, CV_8UC2, first, nv12.pitchBytes()};
}

// Blue, green, red of a picture in any layout; a copy unless the layout is kBgr24.
cv::Mat bgrOf(const Picture& picture);

// Makes a picture of that shape, unless `kept` is one, so that its memory serves the next frame too.
inline void giveShape(Picture& kept, PixelLayout layout, Size size) {
  if (kept.isEmpty() || kept.layout() != layout || kept.size() != size) {
    kept = Picture(layout, size);
  }
}

// A kBgra picture, opaque, of an 8-bit image of blue, green, red.
Picture pictureFromBgr(const cv::Mat& bgr);

} // namespace vorin::media
