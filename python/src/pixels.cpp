#include "pixels.h"

#include <array>
#include <memory>
#include <utility>

namespace vorin::python {
namespace {

using media::Picture;
using media::PixelLayout;

template <typename Array> auto pictureOverAny(const Array& array, PixelLayout layout) {
  const auto rows = static_cast<int>(array.shape(0));
  const media::Size size = {static_cast<int>(array.shape(1)), layout == PixelLayout::kNv12 ? rows / 3 * 2 : rows};
  // The stride of a single row may be anything.
  const std::size_t row_bytes = array.shape(1) * (array.ndim() > 2 ? array.shape(2) : 1);
  return Picture::wrap(layout, size, array.data(), rows > 1 ? static_cast<std::size_t>(array.stride(0)) : row_bytes);
}

} // namespace

const Picture pictureOver(const InputArray& array, PixelLayout layout) {
  return pictureOverAny(array, layout);
}

Picture pictureOver(const OutputArray& array, PixelLayout layout) {
  return pictureOverAny(array, layout);
}

NewArray arrayOf(Picture&& picture) {
  auto owner = std::make_unique<Picture>(std::move(picture));
  const bool is_flat = owner->layout() == PixelLayout::kNv12;
  const auto columns = static_cast<std::size_t>(owner->size().width);
  const std::array<std::size_t, 3> shape = {owner->rowCount(), columns, owner->rowBytes() / columns};
  std::uint8_t* const pixels = owner->pixels();
  const nanobind::capsule keeper(owner.get(), [](void* kept) noexcept { delete static_cast<Picture*>(kept); });
  static_cast<void>(owner.release());
  return NewArray(pixels, is_flat ? 2 : 3, shape.data(), keeper);
}

} // namespace vorin::python
