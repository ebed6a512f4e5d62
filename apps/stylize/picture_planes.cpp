#include "picture_planes.h"

#include <cstddef>
#include <cstdint>

namespace vorin::stylize {
namespace {

std::uint8_t* bytesOf(const media::Picture& picture) {
  return const_cast<std::uint8_t*>(picture.bytes.data());
}

} // namespace

Nv12Planes planesOf(const media::Picture& picture) {
  const auto [width, height] = picture.size;
  std::uint8_t* const luma = bytesOf(picture);
  std::uint8_t* const chroma = luma + static_cast<std::ptrdiff_t>(width) * height;
  return {cv::Mat(height, width, CV_8UC1, luma), cv::Mat(height / 2, width / 2, CV_8UC2, chroma)};
}

cv::Mat bgraPixelsOf(const media::Picture& picture) {
  return {picture.size.height, picture.size.width, CV_8UC4, bytesOf(picture)};
}

} // namespace vorin::stylize
