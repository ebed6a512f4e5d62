#include "frames.h"

namespace vorin::media {

Picture makePicture(PixelLayout layout, Size size) {
  const auto pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  Picture picture;
  picture.layout = layout;
  picture.size = size;
  picture.bytes.resize(layout == PixelLayout::kNv12 ? pixels / 2 * 3 : pixels * 4);
  return picture;
}

PixelLayout layoutFor(PixelLayout source, Size size) {
  const bool is_even = size.width % 2 == 0 && size.height % 2 == 0;
  return is_even ? source : PixelLayout::kBgra;
}

} // namespace vorin::media
