// color_format.hpp: the order of a picture's colours in a tensor. Behind it: ov_color_format_e, whose numbers these are.
#pragma once

#include <openvino/binding/c_api.hpp>

namespace ov::preprocess {

enum class ColorFormat {
  UNDEFINED = ::UNDEFINE,
  RGB = ::RGB,
  BGR = ::BGR,
  GRAY = ::GRAY,
  RGBX = ::RGBX,
  BGRX = ::BGRX,
};

} // namespace ov::preprocess
