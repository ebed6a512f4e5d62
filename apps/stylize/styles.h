// styles.h: the styles by the names that users type, and the networks of the neural ones. One table, read by the argument parser,
// the help, the contact sheet and the look into the model package.
#pragma once

#include "vorin_stt.h"

#include <span>
#include <string>
#include <string_view>

namespace vorin::stylize {

// A network of the model package.
struct Network {
  std::string_view name; // what the user types; empty where the style has one network only
  int32_t style_index;
  std::string_view entry; // in the package, without the file ending
  bool has_twin;          // the package holds it a second time, quantised to 8-bit integers
};

struct Style {
  std::string_view name;
  SttStyleType type;
  std::string_view summary;
  std::span<const Network> networks; // the default first; empty: a filter, which needs none

  bool isNeural() const { return !networks.empty(); }
  bool takesStyleImage() const { return type == SttStyleTransfer; }
};

std::span<const Style> styles();
const Style* findStyle(std::string_view name); // null: no such style
std::string styleNames();                      // "pencil, stipple, ..."

} // namespace vorin::stylize
