// pixels.h: arrays of Python as pictures and back, without a copy. The Python part of the package has checked the arrays.
#pragma once

#include "vorin_picture.hpp"

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>

namespace vorin::python {

using InputArray = nanobind::ndarray<const std::uint8_t, nanobind::device::cpu>;
using OutputArray = nanobind::ndarray<std::uint8_t, nanobind::device::cpu>;
using NewArray = nanobind::ndarray<nanobind::numpy, std::uint8_t>;

// The picture over an array's pixels, which must outlive it. The dimensions are rows, columns and, but for kNv12, the bytes of a
// pixel; strides may leave space between rows only.
const media::Picture pictureOver(const InputArray& array, media::PixelLayout layout);
media::Picture pictureOver(const OutputArray& array, media::PixelLayout layout);

// An array that owns the picture's pixels.
NewArray arrayOf(media::Picture&& picture);

} // namespace vorin::python
