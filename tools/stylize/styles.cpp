#include "styles.h"

#include "name_table.h"

#include <array>

namespace vorin::stylize {
namespace {

constexpr std::array kStyles = {
    Style{"pencil", SttStylePencilSketch, "grey pencil lines on white, darker towards the corners"},
    Style{"stipple", SttStyleStippling, "a grainy drawing made of fine dots"},
};

} // namespace

std::span<const Style> styles() {
  return kStyles;
}

const Style* findStyle(std::string_view name) {
  return findByName(styles(), name);
}

std::string styleNames() {
  return joinNames(styles());
}

} // namespace vorin::stylize
