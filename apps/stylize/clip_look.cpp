#include "clip_look.h"

#include "picture_planes.h"

#include <opencv2/imgproc.hpp>

namespace vorin::stylize {
namespace {

cv::Mat bgraOf(const media::Picture& picture) {
  if (picture.layout == media::PixelLayout::kBgra) {
    return bgraPixelsOf(picture);
  }
  const Nv12Planes planes = planesOf(picture);
  cv::Mat bgra;
  cv::cvtColorTwoPlane(planes.luma, planes.chroma, bgra, cv::COLOR_YUV2BGRA_NV12);
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
