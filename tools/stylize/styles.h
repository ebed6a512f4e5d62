// styles.h: the styles by the names that users type. One table, read by the argument parser, the help and the contact sheet.
#pragma once

#include "vorin_stt.h"

#include <span>
#include <string>
#include <string_view>

namespace vorin::stylize {

struct Style {
  std::string_view name;
  SttStyleType type;
  std::string_view summary;
};

std::span<const Style> styles();
const Style* findStyle(std::string_view name); // null: no such style
std::string styleNames();                      // "pencil, stipple"

} // namespace vorin::stylize
