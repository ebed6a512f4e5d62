#include "frames.h"

namespace vorin::media {

Picture makePicture(PixelLayout layout, Size size) {
  // libswscale's fast paths write whole vectors, and so up to one vector behind the last row.
  constexpr std::size_t kSlackBytes = 64;
  const auto pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  const std::size_t bytes = layout == PixelLayout::kNv12 ? pixels / 2 * 3 : pixels * 4;
  Picture picture;
  picture.layout = layout;
  picture.size = size;
  picture.bytes.reserve(bytes + kSlackBytes);
  picture.bytes.resize(bytes);
  return picture;
}

PixelLayout layoutFor(PixelLayout source, Size size) {
  const bool is_even = size.width % 2 == 0 && size.height % 2 == 0;
  return is_even ? source : PixelLayout::kBgra;
}

} // namespace vorin::media
