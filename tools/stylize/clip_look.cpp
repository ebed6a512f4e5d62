#include "clip_look.h"

#include <opencv2/imgproc.hpp>

namespace vorin::stylize {
namespace {

// OpenCV has no type for read-only pixels.
std::uint8_t* bytesOf(const media::Picture& picture) {
  return const_cast<std::uint8_t*>(picture.bytes.data());
}

Nv12Planes planesOf(const media::Picture& picture) {
  const auto [width, height] = picture.size;
  std::uint8_t* const luma = bytesOf(picture);
  std::uint8_t* const chroma = luma + static_cast<std::ptrdiff_t>(width) * height;
  return {cv::Mat(height, width, CV_8UC1, luma), cv::Mat(height / 2, width / 2, CV_8UC2, chroma)};
}

cv::Mat bgraOf(const media::Picture& picture) {
  const auto [width, height] = picture.size;
  if (picture.layout == media::PixelLayout::kBgra) {
    return {height, width, CV_8UC4, bytesOf(picture)};
  }
  cv::Mat bgra;
  cv::cvtColor(cv::Mat(height * 3 / 2, width, CV_8UC1, bytesOf(picture)), bgra, cv::COLOR_YUV2BGRA_NV12);
  return bgra;
}

} // namespace

void applyLook(const Look& look, const media::Picture& source, media::Picture& drawing) {
  if (look.changesNothing()) {
    return;
  }
  if (drawing.layout == media::PixelLayout::kNv12) { // then the source is, too
    Nv12Planes planes = planesOf(drawing);
    applyLook(look, planesOf(source), planes);
  } else {
    cv::Mat bgra = bgraOf(drawing);
    applyLook(look, bgraOf(source), bgra);
  }
}

} // namespace vorin::stylize
